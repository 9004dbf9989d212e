#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velto {

// What libsystemd does for a program that runs as a service. Built without it, nothing of this does
// anything.

/// Whether the program is built with libsystemd.
bool hasSystemd();
/// Tells the service manager a state ("READY=1", assignments parted by line ends); without one
/// (NOTIFY_SOCKET) nothing happens.
void notifyManager(const std::string &state);
/// The milliseconds within which the manager wants to hear WATCHDOG=1; nothing when it does not.
std::optional<uint32_t> watchdogTime();
/// Whether what is written to a descriptor is read by the journal (JOURNAL_STREAM).
bool isJournal(int fd);
/// Sends an entry of fields ("PRIORITY=4") to the journal; false when it does not take it. May wait
/// for the journal.
bool sendToJournal(const std::vector<std::string> &fields);

} // namespace velto
