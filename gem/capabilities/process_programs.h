#pragma once

#include "gem/capabilities/capability.h"
#include "gem/capabilities/recipe_store.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// Process programs (SEMI E30 4.6; E5 stream 7): they are kept in a folder, of either form under
/// one PPID, and go in both directions. The host application is told of whatever the partner does
/// with them, and may refuse it.
class CHGemProcessPrograms final : public GemCapability {
public:
  using GemCapability::GemCapability;

  /// What the application is told of.
  enum Action : int16_t {
    Created = 1,   ///< the partner sends one that is new
    Edited = 2,    ///< the partner sends one in place of the one that is there
    Deleted = 3,   ///< the partner deletes one; without a PPID all of them
    Requested = 4, ///< the partner asks for one
    Selected = 5,  ///< Select() has made it the one that is executed
    Inquired = 6,  ///< the partner asks whether it may send one; the answer is PPGNT
    Verified = 7,  ///< the partner wants one verified
    Ended = 8,     ///< Send() or Request() is done; the answer at hand tells how
  };
  /// ACKC7 (SEMI E5).
  enum Answer : uint8_t {
    Accepted = 0,
    NotPermitted = 1,
    LengthError = 2,
    MatrixOverflow = 3,
    NotFound = 4,
    ModeUnsupported = 5,
    Later = 6,
    OtherError = 7,
  };
  /// Whether an answer allows what is asked: Later does, as the standard's "will be performed", and
  /// the event of the change tells the completion.
  static bool allows(uint8_t acknowledge) {
    return acknowledge == Accepted || acknowledge == Later;
  }
  /// PPGNT (SEMI E5).
  enum Grant : uint8_t { Granted = 0, AlreadyHave = 1, NoSpace = 2, InvalidName = 3 };

  // While the application is told of something: its answer, and what verification finds, a line
  // "ACKC7A SEQNUM ERRW7" each. They count then alone.
  uint8_t answer() const { return answer_; }
  void setAnswer(uint8_t acknowledge) { answer_ = acknowledge; }
  const std::string &faults() const { return faults_; }
  void setFaults(std::string lines) { faults_ = std::move(lines); }

  /// Where they are kept; empty: beside the data file, under its name and ".recipes".
  const std::string &folder() const { return folder_; }
  void setFolder(std::string folder) { folder_ = std::move(folder); }

  std::vector<std::string> names() const { return recipeStore().names(); }
  /// The body as SML: that which the application is told of, or the one that is kept. Empty when
  /// there is none.
  std::string body(std::string_view ppid) const;
  /// Keeps a PPBODY, or the body of S7F23, from its SML. False when it is none that a message could
  /// bring, when there are too many, and when it cannot be written.
  bool setBody(const std::string &ppid, const std::string &sml);
  /// False when there is none.
  bool Delete(const std::string &ppid) { return remove({ppid}); }
  /// Makes it the one that is executed: sets PPExecName and reports the event of that role. False
  /// when there is none, and when the application refuses.
  bool Select(const std::string &ppid);
  /// Sends one to the partner, once it grants that. False when there is none, when another one is
  /// under way, and when the message may not go out.
  bool Send(const std::string &ppid);
  /// Asks the partner for one, which is then kept. False as before.
  bool Request(const std::string &ppid);

  void addSettings(SettingList &settings) override;
  bool OnReceive(CHSecsVerifier &slot) override;
  void OnRejected(const CHSecsHeader &primary) override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;
  void OnConnectionReset() override { forgetPartner(); }
  void OnDisable() override { forgetPartner(); }
  /// What is under way would never end.
  void OnSwitchedOff() override {
    granted_.reset();
    transfer_.reset();
  }
  /// Reports changes, and sends what follows a reply.
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void Reset() override;

private:
  // One that is being sent or asked for.
  struct Transfer {
    uint32_t number;
    std::string ppid;
    uint8_t function;                    // of the primary, which is to go out or was sent
    std::optional<uint32_t> systemBytes; // of the one that was sent
    bool due = false;                    // to go out on the next tick
  };
  struct Change {
    int16_t status; // Created, Edited, Deleted or Selected
    std::string ppid;
  };
  struct Verification {
    std::string ppid;
    std::string faults;
  };
  struct Permission {
    std::string ppid;
    uint64_t length;
  };

  CHGemRecipeStore &recipeStore() const;
  bool hasRoom(std::string_view ppid) const;

  uint8_t inquire(const CHSecsItem &request);
  uint8_t receive(const CHSecsItem &request);
  uint8_t take(const std::string &ppid, const CHSecsItem &body, std::string &faults);
  CHSecsItem upload(const CHSecsItem &name, bool formatted);
  uint8_t deleteAll(const CHSecsItem &request);
  uint8_t verify(const CHSecsItem &request);
  std::string identityFaults(const CHSecsItem &identity) const;
  /// What the application is asked about, and what it says.
  struct Question {
    uint8_t answer = Accepted;
    const CHSecsItem *body = nullptr;
    std::string faults;
  };
  uint8_t ask(Action action, const std::string &ppid, Question &question);
  uint8_t ask(Action action, const std::string &ppid, uint8_t answer = Accepted) {
    Question question{answer, nullptr, {}};
    return ask(action, ppid, question);
  }
  bool remove(const std::set<std::string> &programs);
  bool keep(const std::string &ppid, const CHSecsItem &body);
  void noteVerification(const std::string &ppid, std::string faults);
  void noteChange(Action status, const std::string &ppid);

  bool start(const std::string &ppid, uint8_t function);
  std::optional<CHSecsItem> transferBody() const;
  bool sendNext();
  bool takeReply(const CHSecsVerifier &slot);
  void goOn(uint8_t function);
  uint8_t takeRequested(const CHSecsItem &reply);
  void end(uint32_t number, uint8_t answer);
  void endUnanswered(const CHSecsHeader &primary);
  void forgetPartner();

  void report(const Change &change);
  void sendVerification(const Verification &done);
  void setVariable(uint8_t role, std::string_view text);
  void setName(uint8_t role, const std::string &ppid);

  std::string folder_;
  mutable std::optional<CHGemRecipeStore> store_;
  int32_t most_ = 0; // process programs that are kept
  uint8_t answer_ = Accepted;
  std::string faults_;
  std::string offeredName_; // what the application is told of
  const CHSecsItem *offered_ = nullptr;
  std::optional<Permission> granted_;
  std::optional<Transfer> transfer_;
  uint32_t transfers_ = 0;
  std::deque<Change> changed_;        // that are to be reported
  std::deque<Verification> verified_; // that S7F27 is to tell of
};

} // namespace velto
