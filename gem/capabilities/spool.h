#pragma once

#include "gem/capabilities/capability.h"
#include "gem/capabilities/spool_choice.h"
#include "gem/capabilities/spool_file.h"
#include "gem/capabilities/unanswered_messages.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

namespace velto {

/// Spooling (SEMI E30 4.11; E5 S2F43, S6F23). Once the host has named streams and functions, their
/// primaries are kept while there are no communications, and after that until the host has taken
/// or purged all of them, so that their order holds. What is kept outlives the process.
///
/// What went out shortly before communications were lost, and was not answered, is kept in front of
/// them. It may have arrived all the same: the host then gets it again, with the same DATAID,
/// unless its reply comes late.
class CHGemSpool final : public GemCapability {
public:
  explicit CHGemSpool(const GemParts &parts) : GemCapability(parts), file_(parts.host) {}

  /// SPOOL INACTIVE, SPOOL ACTIVE (NOT FULL, FULL), and of the unloading TRANSMIT SPOOL.
  enum State : uint8_t { Inactive = 0, Active = 1, Full = 2, Transmitting = 3 };
  State state() const;
  size_t count() const { return file_.count(); }

  /// KiB that the messages may take, at the most kGreatestSize; below 0 counts as 0.
  static constexpr int32_t kGreatestSize = 100 * 1024;
  static constexpr int32_t kDefaultSize = 16 * 1024;
  static constexpr int32_t kDefaultMessages = 100'000;
  int32_t maxSize() const { return maxSize_; }
  void setMaxSize(int32_t kib) { maxSize_ = kib; }
  int32_t maxMessages() const { return maxMessages_; }
  void setMaxMessages(int32_t count) { maxMessages_ = count; }

  void addSettings(SettingList &settings) override;
  std::string_view storedAs() const override { return "Spool"; }
  void store(ArchiveWriter &archive) const override { choice_.store(archive); }
  void load(ArchiveReader &archive) override { choice_.load(archive); }

  bool OnReceive(CHSecsVerifier &slot) override;
  void OnReceived() override;
  /// Sends the next message, and reports what has begun or ended.
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void OnSent(const CHSecsHeader &header, ByteView body) override;
  void OnAnswered(const CHSecsMessage &answer) override;
  void OnConnectionReset() override;
  void OnDisable() override;
  void OnSwitchedOff() override;
  void OnRejected(const CHSecsHeader &primary) override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;
  void OnUndelivered(const CHSecsMessage &message) override;
  std::optional<bool> stop(const CHSecsMessage &message) override;
  bool wantsEvents() const override;
  void Reset() override;
  void addStatus(TreeNode &parent) const override;

private:
  /// What was sent of the spool and awaits its reply.
  struct Outstanding {
    uint32_t number;
    CHSecsHeader header;
    bool isOut = false; // the header is that with which it went out
  };

  bool isCommunicating() const {
    return owner().communicationState() == CommunicationState::Communicating && host().hasPartner();
  }
  void attach();
  void followCommunications();
  void loseCommunications(bool lost);
  void begin();
  void end();
  void interrupt();
  bool keep(const CHSecsMessage &message);
  bool put(ByteView message, CHGemSpoolFile::Safe safe);
  void reportUnwritable();
  void keepUnanswered();
  size_t mostMessages() const { return static_cast<size_t>(std::max(maxMessages_, 0)); }
  // Bytes that they may take.
  uint64_t room() const {
    return static_cast<uint64_t>(std::clamp(maxSize_, 0, kGreatestSize)) * 1024;
  }
  void tell();
  void setVariable(uint8_t role, const std::string &text);
  uint32_t constant(uint8_t role) const;
  std::string timeText();

  void answerChoice(CHSecsVerifier &slot);
  uint8_t answerRequest(uint32_t rsdc);

  bool isOutstanding(const CHSecsHeader &primary) const;
  bool isDone() const { return file_.isActive() && file_.count() == 0 && isCommunicating(); }
  bool mayTransmit() const;
  void transmit();
  bool acknowledgeAnswered();

  CHGemSpoolFile file_;
  CHGemSpoolChoice choice_;
  int32_t maxSize_ = kDefaultSize;
  int32_t maxMessages_ = kDefaultMessages;
  bool full_ = false;             // there was no room for the last message
  bool wasCommunicating_ = false; // when it was last looked for
  bool ended_ = false;            // the end of spooling is to be reported
  bool failed_ = false;           // the file could not be written, which was reported
  std::optional<uint32_t> left_;  // messages that are still to be transmitted; nothing: none
  std::optional<Outstanding> outstanding_;
  CHGemUnansweredMessages unanswered_;
  bool passes_ = false;               // the next message is one of the spool
  uint32_t sendings_ = 0;             // counts them, to tell which one came back
  std::optional<uint32_t> refusedAt_; // tick at which the link could not take it
};

} // namespace velto
