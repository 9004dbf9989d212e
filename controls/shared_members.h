#pragma once

#include "controls/component/member_table.h"
#include "controls/component/page_field.h"
#include "controls/enumerations.h"
#include "controls/secsi_properties.h"
#include "platform/tcp_socket.h"

namespace velto {

/// How the table of a control describes its log; a control names what is different with it.
struct LogTexts {
  const char *log = "Keeps a communication log.";
  const char *backups = "Numbered backups of the log; 0: it grows without limit.";
  const char *fileName = "Path of the log without its ending \".log\".";
  const char *size = "Size at which the log is backed up.";
  const char *verbose = "Adds hexadecimal dumps to the log.";
  NumberRange backupRange{0, kMaxInt16, false};
  NumberRange sizeRange{0, kMaxInt32, false};
};

/// How the SECS-I controls describe theirs, whose values are held in range: less than 0 or more
/// than 999 backups become 1, a size below 1 becomes 1024, and LogVerbose is false while Log is.
inline constexpr LogTexts kSecsILogTexts{
    .backups = "Numbered backups of the log, others become 1; 0: it grows without limit.",
    .fileName = "Path of the log without its ending \".log\"; empty: none.",
    .size = "Size at which the log is backed up; below 1 becomes 1024.",
    .verbose = "Adds every character to the log; stays false while Log is.",
    .backupRange = {0, kMostSecsIBackups},
    .sizeRange = {1, kMaxInt32}};

/// A table with the rows that several controls have. The control gives each its id, and its place.
template <typename C> class SharedMembers : public MembersOf<C, SharedMembers<C>> {
  using Base = MembersOf<C, SharedMembers<C>>;
  using Self = SharedMembers;

public:
  using Base::Base;

  // The INI file and the property sheet.

  Self &iniFileName(int id) {
    return Base::template property<&C::IniFileName, &C::SetIniFileName>(
        id, "IniFileName", "Path of the INI file.", "./Velto.ini");
  }
  Self &iniSection(int id, const char *help = "Section of the INI file.") {
    return Base::template property<&C::IniSection, &C::SetIniSection>(id, "IniSection", help,
                                                                      this->controlName());
  }
  Self &linkSection(int id) {
    return iniSection(id, "Section of the INI file; names the link in the log.");
  }
  Self &setup(int id) {
    return Base::template method<&C::Setup>(
        id, "Setup", {"lpszCaption"},
        "Shows the property sheet; true when it was accepted and stored.");
  }
  Self &loadIniFile(int id) {
    return Base::template method<&C::LoadIniFile>(
        id, "LoadIniFile", {}, "Reads the INI file; false when its name or section is empty.");
  }

  // A serial port. Connect stands last of the properties, so that a loaded property bag opens the
  // port when all else is set.

  Self &baudRate(int id) {
    return Base::template property<&C::BaudRate, &C::SetBaudRate>(
               id, "BaudRate", "Any rate of the device; below 1 becomes 9600.", 9600)
        .unit("bit/s")
        .range(1);
  }
  Self &serialPortNumber(int id) {
    return Base::template property<&C::PortNumber, &C::SetPortNumber>(
               id, "PortNumber", "Index of the port, 0 is COM1; negative ones become 0.", 0)
        .range(0, kMaxInt16);
  }
  Self &serialConnect(int id) {
    return Base::template property<&C::Connect, &C::SetConnect>(
        id, "Connect",
        "Opens and closes the port; false again when it cannot be opened or is unplugged.", false);
  }

  // A TCP link. Connect stands last of the properties for the same reason.

  /// `uses`: what goes to the peer that a listener addresses.
  Self &ipAddress(int id, const std::string &uses = "Send and Disconnect") {
    const std::string help = "Client: the remote host. Listener: the peer that " + uses +
                             " address; every accepted peer sets it.";
    return Base::template property<&C::IPAddress, &C::SetIPAddress>(id, "IPAddress", help.c_str(),
                                                                    "");
  }
  Self &myPortNumber(int id) {
    return Base::template property<&C::MyPortNumber, &C::SetMyPortNumber>(
               id, "MyPortNumber", "Local port; a listener listens on it. 0: any.", 0)
        .sensible(0, kMaxWord);
  }
  Self &tcpPortNumber(int id) {
    return Base::template property<&C::PortNumber, &C::SetPortNumber>(
               id, "PortNumber", "Remote port; 0: none. Listener: port of the addressed peer.", 0)
        .sensible(0, kMaxWord);
  }
  Self &server(int id) {
    return Base::template property<&C::Server, &C::SetServer>(
        id, "Server", "Passive entity. Cannot be changed while Connect is true.", false);
  }
  /// How a remote end that is gone without a word is noticed; the same ids everywhere.
  Self &keepAlive() {
    const KeepAlive normal;
    return Base::template property<&C::KeepAliveIdle, &C::SetKeepAliveIdle>(
               221, "KeepAliveIdle",
               "Silence before a connection is probed; 0: as the system is set.", normal.idle)
        .unit("s")
        .range(0)
        .template property<&C::KeepAliveInterval, &C::SetKeepAliveInterval>(
            222, "KeepAliveInterval", "Time between probes; 0: as the system is set.",
            normal.interval)
        .unit("s")
        .range(0)
        .template property<&C::KeepAliveCount, &C::SetKeepAliveCount>(
            223, "KeepAliveCount",
            "Probes without an answer after which a connection ends; 0: as the system is set.",
            normal.count)
        .range(0)
        .template property<&C::SendTimeout, &C::SetSendTimeout>(
            224, "SendTimeout",
            "Time that sent data may stay unacknowledged; 0: as the system is set.",
            normal.sendTimeout)
        .unit("s")
        .range(0);
  }
  Self &tcpConnect(int id) {
    return Base::template property<&C::Connect, &C::SetConnect>(
        id, "Connect",
        "Opens and closes the link; false again when the connection ends. An active entity waits "
        "up to 5 s for its connection.",
        false);
  }
  Self &disconnect(int id) {
    return Base::template method<&C::Disconnect>(
        id, "Disconnect", {"lpszIPAddress", "lPortNumber"},
        "Closes a listener's peer; false when there is none.");
  }
  /// The four events of a link, which have the same ids everywhere.
  Self &tcpEvents(const char *problem, const Enumeration &errors, const char *received) {
    return Base::template event<std::string, int32_t>(
               1, "Connected", {"lpszIPAddress", "lPortNumber"}, "A connection was made.")
        .template event<std::string, int32_t>(2, "Disconnected", {"lpszIPAddress", "lPortNumber"},
                                              "The remote end closed a connection.")
        .template event<std::string, int32_t, int16_t, std::string>(
            3, "Problem", {"lpszIPAddress", "lPortNumber", "sErrorCode", "lpszAdditionalInfo"},
            problem)
        .of("sErrorCode", errors)
        .template event<std::string, int32_t, std::string>(
            4, "Received", {"lpszIPAddress", "lPortNumber", "lpszMsg"}, received);
  }

  // The log.

  Self &log(int id, const LogTexts &texts = {}) {
    return Base::template property<&C::Log, &C::SetLog>(id, "Log", texts.log, false);
  }
  Self &logBakCount(int id, const LogTexts &texts = {}, int16_t count = 1) {
    return Base::template property<&C::LogBakCount, &C::SetLogBakCount>(id, "LogBakCount",
                                                                        texts.backups, count)
        .range(texts.backupRange);
  }
  Self &logFileName(int id, const LogTexts &texts = {}) {
    return Base::template property<&C::LogFileName, &C::SetLogFileName>(id, "LogFileName",
                                                                        texts.fileName, "./Velto");
  }
  Self &logSize(int id, const LogTexts &texts = {}) {
    return Base::template property<&C::LogSize, &C::SetLogSize>(id, "LogSize", texts.size, 1024)
        .unit("KiB")
        .range(texts.sizeRange);
  }
  Self &logVerbose(int id, const LogTexts &texts = {}) {
    return Base::template property<&C::LogVerbose, &C::SetLogVerbose>(id, "LogVerbose",
                                                                      texts.verbose, false);
  }

  /// Not persisted: a bag holds what it always did.
  Self &statistics() {
    return Base::template property<&C::Statistics, &C::SetStatistics>(
        201, "Statistics", "The window shows what the link has carried, and its problems.");
  }

  // SECS-I.

  Self &t1(int id) {
    return Base::template property<&C::T1, &C::SetT1>(
               id, "T1", "Inter-character time-out; below 1 becomes 500.", 500)
        .unit("ms")
        .range(1);
  }
  Self &t2(int id) {
    return Base::template property<&C::T2, &C::SetT2>(
               id, "T2", "Protocol time-out; below 1 becomes 10000.", 10'000)
        .unit("ms")
        .range(1);
  }
  /// HSMS has it too.
  Self &t3(int id) {
    return Base::template property<&C::T3, &C::SetT3>(id, "T3", "Reply time-out.", 45'000)
        .unit("ms")
        .sensible(0);
  }
  Self &t4(int id) {
    return Base::template property<&C::T4, &C::SetT4>(id, "T4", "Inter-block time-out.", 45'000)
        .unit("ms")
        .sensible(0);
  }
  Self &retry(int id) {
    return Base::template property<&C::Retry, &C::SetRetry>(
               id, "Retry", "Further attempts for a block; negative becomes 3.", 3)
        .range(0, kMaxInt16);
  }
  Self &master(int id) {
    return Base::template property<&C::Master, &C::SetMaster>(
        id, "Master", "Wins contention and sets the R-bit: the equipment's side.", true);
  }
  Self &msec(int id) {
    return Base::template property<&C::MSEC, &C::SetMSEC>(
        id, "MSEC", "Headers go out as given, blocks stand alone, data has even parity.", false);
  }
  Self &queueMessage(int id) {
    return Base::template method<&C::Send>(
        id, "Send", {"lpszMessage"},
        "Queues header and data, given in hexadecimal; true when it was queued.");
  }
};

} // namespace velto
