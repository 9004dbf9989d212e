#pragma once

#include "apps/velto/console/queued_output.h"

#include <string>
#include <vector>

namespace velto {

/// The journal of systemd, where it is what reads standard error: problems go there as entries with
/// fields, by which they are found (`journalctl VELTO_PROBLEM=1`). Through the queue of the output,
/// so that a journal that stalls holds up no link.
class Journal {
public:
  explicit Journal(QueuedOutput &output);

  /// Sends a problem with fields of its own, "VELTO_PROBLEM=1". False: it is to be printed, as
  /// nobody has it yet or standard output is read by somebody else.
  bool problem(const std::string &text, std::vector<std::string> fields);
  /// The same of what ends the program. False: it is to go to standard error as text.
  bool failure(const std::string &text);

private:
  void send(const std::string &text, std::vector<std::string> fields, char priority);

  QueuedOutput &output_;
  const bool isThere_;
  const bool hasOutput_;
};

} // namespace velto
