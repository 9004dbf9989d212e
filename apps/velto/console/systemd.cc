#include "apps/velto/console/systemd.h"

#include <algorithm>
#include <cstdlib>
#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-journal.h>

namespace velto {

bool hasSystemd() { return true; }

void notifyManager(const std::string &state) { sd_notify(0, state.c_str()); }

std::optional<uint32_t> watchdogTime() {
  uint64_t micros = 0;
  if (sd_watchdog_enabled(0, &micros) <= 0)
    return std::nullopt;
  return static_cast<uint32_t>(std::clamp<uint64_t>(micros / 1000, 1, UINT32_MAX));
}

bool isJournal(int fd) {
  const char *stream = std::getenv("JOURNAL_STREAM");
  struct stat file {};
  return stream != nullptr && fstat(fd, &file) == 0 &&
         stream == std::to_string(file.st_dev) + ':' + std::to_string(file.st_ino);
}

bool sendToJournal(const std::vector<std::string> &fields) {
  std::vector<iovec> parts;
  for (const std::string &field : fields)
    parts.push_back({const_cast<char *>(field.data()), field.size()}); // is only read
  return sd_journal_sendv(parts.data(), static_cast<int>(parts.size())) == 0;
}

} // namespace velto
