#include "apps/velto/console/systemd.h"

namespace velto {

// In place of systemd.cc where the program is built without libsystemd.
bool hasSystemd() { return false; }
void notifyManager(const std::string & /*state*/) {}
std::optional<uint32_t> watchdogTime() { return std::nullopt; }
bool isJournal(int /*fd*/) { return false; }
bool sendToJournal(const std::vector<std::string> & /*fields*/) { return false; }

} // namespace velto
