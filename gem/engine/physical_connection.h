#pragma once

#include "base/setting_list.h"
#include "transport/hsms/hsms_engine.h"
#include "ui/view.h"

#include <memory>
#include <optional>
#include <string>

namespace velto {

/// What the link tells the engine. Any call may run host code, which may destroy both.
class PhysicalConnectionOwner {
public:
  virtual ~PhysicalConnectionOwner() = default;

  virtual void OnConnected(const std::string &ipAddress, int32_t portNumber, bool connected) = 0;
  virtual void OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                          bool storeOnly) = 0;
  virtual void OnSent(const CHSecsHeader &header, ByteView body) = 0;
  virtual void OnLinkProblem(int code) = 0;
  virtual void OnLinkStateChanged(HsmsState next, HsmsState previous) = 0;
};

/// The equipment's HSMS link with its settings. While an open is requested, an active link that
/// fails or drops is opened again after the connect separation time T5; nobody waits for that.
class CHPhysicalConnection final : private CHHsmsOwner {
public:
  CHPhysicalConnection(EventLoop &loop, PhysicalConnectionOwner &owner);

  // Settings of section "HSMS"; times in ms. They count from the next open on, times at once.
  std::string ipAddress = "localhost";
  int32_t portNumber = 5001;
  int32_t localPortNumber = 0; ///< a listener listens here, or on portNumber when it is 0
  int32_t server = 0;
  int32_t protocol = 1; ///< session mode: 0 generic, 1 single, 2 general
  int32_t discardDuplicates = 1;
  int32_t t5 = 10000;
  int32_t t6 = 5000;
  int32_t t7 = 10000;
  int32_t t8 = 5000;
  SettingList &settings() { return settings_; }

  /// Asks for the link to be open; it is opened on the next tick.
  void RequestOpen();
  /// Closes the link and cancels the request.
  void Close();
  /// Closes the link; it is opened again on the next tick.
  void RequestReopen();
  bool OpenRequested() const { return openRequested_; }

  HsmsState State() const { return hsms_ != nullptr ? hsms_->State() : HsmsState::NotConnected; }
  int32_t LocalPort() const { return hsms_ != nullptr ? hsms_->LocalPort() : 0; }
  /// Sends to the selected partner (a listener: the first); false when there is none.
  bool Send(ByteView message);

  void Poll();
  /// Milliseconds until Poll() has something to do; nothing: never.
  std::optional<uint32_t> NextPoll() const;
  void SetWake(std::function<void()> wake) { wake_ = std::move(wake); }

  void addStatus(TreeNode &parent) const;

private:
  void OnConnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnDisconnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnDataReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                      bool notSelected) override;
  void OnControlReceived(const std::string &ipAddress, int32_t portNumber,
                         ByteView message) override;
  void OnMessageSent(const std::string &ipAddress, int32_t portNumber, const CHSecsHeader &header,
                     ByteView body) override;
  void OnProblem(const std::string &ipAddress, int32_t portNumber, int code,
                 ByteView data) override;
  void OnStateChanged(HsmsState next, HsmsState previous) override;

  void open();
  void applyTimes() const;
  void linkFailed();
  uint32_t ticks() const { return loop_.clock().ticks(); }

  EventLoop &loop_;
  PhysicalConnectionOwner &owner_;
  SettingList settings_;
  std::function<void()> wake_;
  std::unique_ptr<CHHsms> hsms_;
  bool openRequested_ = false;
  bool open_ = false;                // listening, connecting or connected
  std::optional<uint32_t> failedAt_; // tick: T5 runs from here
  Lifetime lifetime_;
};

} // namespace velto
