#pragma once

#include "platform/dialog.h"

#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// Writes text and flushes it, with a line end unless the text brings its own.
void printLine(std::ostream &out, std::string_view text);

/// What the operator does with the next sheet.
struct SheetAnswer {
  std::vector<std::pair<std::string, std::string>> fields; ///< label or property, new value
  bool accept = false;
  std::function<void(const std::string &reason)> failed; ///< the sheet could not take it
};

/// Shows boxes and sheets as text:
///
///     [box] text
///     [sheet] title
///     [page] title
///       label: value
///     [ok] or [cancel]
///
/// Each on one line, line ends inside a text as \r and \n. Sheets are answered from a queue and
/// cancelled when it is empty.
class ContainerFrontEnd final : public FrontEnd {
public:
  explicit ContainerFrontEnd(std::ostream &out) : out_(out) {}

  void queueAnswer(SheetAnswer answer) { answers_.push_back(std::move(answer)); }

  void messageBox(const std::string &text) override;
  /// An answer that names an unknown field or a value that its field cannot hold is reported to
  /// its `failed`, and the sheet cancelled as it was.
  bool showSheet(PropertySheet &sheet) override;

private:
  bool answered(PropertySheet &sheet);
  void printSheet(const PropertySheet &sheet);

  std::ostream &out_;
  std::deque<SheetAnswer> answers_;
};

} // namespace velto
