#pragma once

#include "base/setting_list.h"
#include "transport/message_links.h"
#include "ui/view.h"

#include <memory>
#include <optional>

namespace velto {

/// The equipment's link with its settings, by whichever protocol. While an open is requested, an
/// active link that fails or drops is opened again after the connect separation time T5; nobody
/// waits for that.
///
/// The link reports to the engine, which this connection is part of.
class CHPhysicalConnection {
public:
  CHPhysicalConnection(EventLoop &loop, MessageLinkOwner &engine, Ticker &ticker,
                       const SerialPorts &ports);

  /// The settings of sections "HSMS" and "SECSI"; times in ms. Whoever changes those of the line
  /// calls settingsChanged().
  LinkSettings &settings() { return *settings_; }
  const LinkSettings &settings() const { return *settings_; }
  void settingsChanged() { link_->settingsChanged(); }
  /// How messages travel from the next opening on.
  int32_t transport = static_cast<int32_t>(LinkProtocol::Hsms);
  int32_t t5 = 10000;
  /// Puts settings in range that came from a file.
  void keepInRange();
  /// How they travel now.
  LinkProtocol protocol() const { return protocol_; }
  bool isHsms() const { return protocol_ == LinkProtocol::Hsms; }
  /// The role of this side, which some of the protocol depends on.
  void setEquipment(bool equipment);
  SettingList &settingList() { return settingList_; }

  /// Asks for the link to be open; it is opened on the next tick.
  void RequestOpen();
  /// Closes the link and cancels the request.
  void Close();
  /// Closes the link; it is opened again on the next tick.
  void RequestReopen();
  /// Closes for good; nothing is reported any more.
  void End();
  bool OpenRequested() const { return openRequested_; }

  /// Listening, connecting or connected.
  bool IsOpen() const { return open_ && link_->IsOpen(); }
  LinkState State() const { return link_->State(); }
  bool HasPartner() const { return link_->HasPartner(); }
  /// What the link has carried, with the reply and connect time-outs.
  LinkCounters counters() const;
  std::vector<ConnectionCounters> connectionCounters() const { return link_->connectionCounters(); }
  /// Counts a problem that the link does not see: T3, T5.
  void count(LinkProblem problem) { link_->count(problem); }
  int32_t LocalPort() const { return link_->LocalPort(); }
  /// Sends to the partner; the header as it went out, or nothing when there is no partner.
  std::optional<CHSecsHeader> Send(const CHSecsHeader &header, ByteView body) {
    return link_->Send(header, body);
  }
  CHSecsHeader Complete(const CHSecsHeader &header) { return link_->Complete(header); }
  bool SendCompleted(const CHSecsHeader &header, ByteView body) {
    return link_->SendCompleted(header, body);
  }
  const MessageLink &link() const { return *link_; }

  /// One tick: the link's, then the next attempt to open it. Returns whether T5 has run out.
  bool Poll();
  /// Milliseconds until Poll() has something to do; nothing: never.
  std::optional<uint32_t> NextPoll() const;

  void addStatus(TreeNode &parent) const;

private:
  void useTransport();
  void open();
  void linkFailed();
  void addLine(TreeNode &link) const;
  uint32_t ticks() const { return loop_.clock().ticks(); }

  EventLoop &loop_;
  MessageLinkOwner &engine_;
  Ticker &ticker_;
  const SerialPorts &ports_;
  std::shared_ptr<LinkSettings> settings_ = std::make_shared<LinkSettings>();
  LinkProtocol protocol_ = LinkProtocol::Hsms;
  Handle<MessageLink> link_;
  LinkCounters former_; // of the links before, by other protocols
  SettingList settingList_;
  bool openRequested_ = false;
  bool open_ = false;                // listening, connecting or connected
  std::optional<uint32_t> failedAt_; // tick: T5 runs from here
};

} // namespace velto
