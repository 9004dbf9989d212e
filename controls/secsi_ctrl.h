#pragma once

#include "base/handle.h"
#include "controls/component/ini_control.h"
#include "controls/problem_numbers.h"
#include "controls/secsi_properties.h"
#include "controls/statistics_property.h"
#include "transport/link/connection_sink.h"

namespace velto {

class CHSecsI;
class LinkLog;

/// `VeltoSecsI`: SECS-I (SEMI E4) on a serial port. Messages go in and come out as hexadecimal text
/// of header and data; with MSEC, the data as characters.
class CVeltoSecsICtrl final : public IniControl,
                              public SecsIProperties,
                              public StatisticsProperty,
                              private CHConnectionSink {
public:
  explicit CVeltoSecsICtrl(const ControlSite &site);
  ~CVeltoSecsICtrl() override;

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  /// Whether the port is open; false again when the device is gone.
  bool Connect() const;
  /// Closes the port, dropping the queues, and with `connect` opens it: 8 data bits, no parity, one
  /// stop bit. Connect() stays false when that fails.
  void SetConnect(bool connect);
  /// Bits per second, any rate of the device; below 1 becomes 9600. Counts from the next opening.
  int32_t BaudRate() const { return baudRate_; }
  void SetBaudRate(int32_t rate);
  /// Index of the serial port: 0 is COM1; negative becomes 0. Counts from the next opening.
  int16_t PortNumber() const { return portNumber_; }
  void SetPortNumber(int16_t number);

  /// Queues a message; false when it is shorter than a header or too long, when the port is not
  /// open or the queue is full. Sent or Problem (8) tells how it went.
  bool Send(const std::string &message);

  /// "Out Queue" and "In Queue" with the messages in them.
  TreeView view() const;
  std::string window() const override { return toText(view()); }
  std::optional<TreeView> windowTree() const override { return view(); }
  /// What the line has carried since the control was made.
  const LinkCounters &counters() const;

  Event<int16_t, std::string> onProblem{*this, 1};
  Event<std::string> onReceived{*this, 2};
  Event<std::string> onSent{*this, 3};

private:
  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
  void prepareLoad() override;
  void settingsChanged() override;
  LinkLog record();

  void OnReceived(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                  ByteView data) override;
  void OnSent(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber, ByteView data,
              bool sent) override;
  void OnProblem(ConnectionKind kind, const std::string &ipAddress, int32_t portNumber,
                 const Problem &problem) override;
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t, bool) override {}
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
  void OnChanged() override { viewChanged(); }
  void statisticsChanged() override { viewChanged(); }

  Handle<CHSecsI> port_;
  int32_t baudRate_ = 9600;
  int16_t portNumber_ = 0;
};

} // namespace velto
