#include "apps/velto/console/journal.h"

#include "apps/velto/console/systemd.h"

namespace velto {

namespace {

// Of syslog(3), by which the journal knows them.
constexpr char kError = '3';
constexpr char kWarning = '4';

} // namespace

Journal::Journal(QueuedOutput &output)
    : output_(output), isThere_(isJournal(STDERR_FILENO)), hasOutput_(isJournal(STDOUT_FILENO)) {}

bool Journal::problem(const std::string &text, std::vector<std::string> fields) {
  send(text, std::move(fields), kWarning);
  return isThere_ && hasOutput_;
}

bool Journal::failure(const std::string &text) {
  send(text, {}, kError);
  return isThere_;
}

void Journal::send(const std::string &text, std::vector<std::string> fields, char priority) {
  if (!isThere_)
    return;
  fields.push_back("MESSAGE=" + text);
  fields.push_back(std::string("PRIORITY=") + priority);
  output_.journal(text, std::move(fields));
}

} // namespace velto
