#pragma once

#include "ui/dialog.h"

#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// Writes text and flushes it, with a line end unless the text brings its own.
void printLine(std::ostream &out, std::string_view text);

/// One thing that the operator does with a sheet.
struct AnswerStep {
  enum class Kind {
    Fields, ///< changes fields
    Page,   ///< brings the page `name` to the top
    Add,    ///< presses a button of the list; Edit and Delete on the row with `name` in its first
            ///< column
    Edit,
    Delete,
    Again, ///< enters other values after the sheet refused those before
    Ok,
    Cancel,
  };

  Kind kind = Kind::Fields;
  std::string name;
  /// The fields to change, of the sheet or of the dialog that the step opens: label or property,
  /// and new value.
  std::vector<std::pair<std::string, std::string>> fields;
  bool cancel = false; ///< cancels the dialog or question that the step opens
};

/// What the operator does with the next sheet, up to Ok or Cancel.
struct SheetAnswer {
  std::vector<AnswerStep> steps;
  /// Called when the step with that index cannot be done, or further steps are missing.
  std::function<void(const std::string &reason, size_t step)> failed;
};

/// Shows boxes and sheets as text, line ends inside a text as \r and \n:
///
///     [box] text
///     [sheet] title                 and [dialog] title for a dialog
///     [page] title
///       label: value
///       columns and rows of a list; "> " marks the selected row
///     [ok] or [cancel]
///
/// Sheets are answered from a queue. When the queue is empty, a sheet and its boxes are shown to
/// the operator by another front end; without such a front end the sheet is cancelled. Remarks are
/// printed to the stream of errors.
class TextFrontEnd final : public FrontEnd {
public:
  TextFrontEnd(std::ostream &out, std::ostream &err) : out_(out), err_(err) {}

  void queueAnswer(SheetAnswer answer) { answers_.push_back(std::move(answer)); }
  /// The front end of the operator; must outlive this object.
  void setOperator(FrontEnd *frontEnd) { operator_ = frontEnd; }

  void messageBox(const std::string &text) override;
  void remark(const std::string &text) override;
  bool showBox(const MessageBox &box) override;
  /// A step that the sheet cannot take is reported to the answer's `failed`, and the sheet
  /// cancelled.
  bool showSheet(PropertySheet &sheet) override;

private:
  /// The answer that is being carried out. A dialog goes on with the steps of the sheet that opened
  /// it.
  struct Run {
    const SheetAnswer &answer;
    size_t step = 0;
    bool failed = false;
    const AnswerStep &current() const { return answer.steps[step]; }
  };

  bool askOperator(PropertySheet &sheet);
  bool answerSheet(PropertySheet &sheet);
  bool answerDialog(PropertySheet &dialog);
  bool take(const AnswerStep &step, PropertySheet &sheet);
  bool act(const AnswerStep &step, PropertyPage &page);
  bool setFields(const AnswerStep &step, PropertySheet &sheet);
  bool again();
  bool fail(const std::string &reason);
  void printSheet(const PropertySheet &sheet);
  void printPage(const PropertyPage &page);

  std::ostream &out_;
  std::ostream &err_;
  std::deque<SheetAnswer> answers_;
  Run *run_ = nullptr;
  FrontEnd *operator_ = nullptr;
  int asking_ = 0;      ///< how many sheets the operator works with, inside each other
  std::string refusal_; ///< the text of the last error box
};

} // namespace velto
