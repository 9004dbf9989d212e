#pragma once

#include "base/setting_list.h"
#include "transport/message_links.h"
#include "ui/view.h"

#include <optional>

namespace velto {

/// The equipment's link with its settings. While an open is requested, an active link that fails or
/// drops is opened again after the connect separation time T5; nobody waits for that.
///
/// The link reports to the engine, which this connection is part of.
class CHPhysicalConnection {
public:
  CHPhysicalConnection(EventLoop &loop, MessageLinkOwner &engine, Ticker &ticker);

  /// The settings of section "HSMS"; times in ms. Those of the link are the link's own.
  LinkSettings &settings() { return link_->settings(); }
  const LinkSettings &settings() const { return link_->settings(); }
  int32_t t5 = 10000;
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
  LinkCounters counters() const { return link_->counters(); }
  std::vector<ConnectionCounters> connectionCounters() const { return link_->connectionCounters(); }
  /// Counts a problem that the link does not see: T3, T5.
  void count(LinkProblem problem) { link_->count(problem); }
  int32_t LocalPort() const { return link_->LocalPort(); }
  /// Sends to the partner; the header as it went out, or nothing when there is no partner.
  std::optional<CHSecsHeader> Send(const CHSecsHeader &header, ByteView body) {
    return link_->Send(header, body);
  }

  /// One tick: the link's, then the next attempt to open it. Returns whether T5 has run out.
  bool Poll();
  /// Milliseconds until Poll() has something to do; nothing: never.
  std::optional<uint32_t> NextPoll() const;

  void addStatus(TreeNode &parent) const;

private:
  void open();
  void linkFailed();
  uint32_t ticks() const { return loop_.clock().ticks(); }

  EventLoop &loop_;
  Ticker &ticker_;
  Handle<MessageLink> link_;
  SettingList settingList_;
  bool openRequested_ = false;
  bool open_ = false;                // listening, connecting or connected
  std::optional<uint32_t> failedAt_; // tick: T5 runs from here
};

} // namespace velto
