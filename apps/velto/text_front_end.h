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
    Add,    ///< the actions of the page's list; all but Add on the row whose first column is `name`
    Edit,
    Delete,
    Again, ///< answers what was refused once more
    Ok,
    Cancel,
  };

  Kind kind = Kind::Fields;
  std::string name;
  /// Label or property and the new value: of the sheet, or of the dialog of an action.
  std::vector<std::pair<std::string, std::string>> fields;
  bool cancel = false; ///< the dialog or question of an action is cancelled
};

/// What the operator does with the next sheet, up to Ok or Cancel.
struct SheetAnswer {
  std::vector<AnswerStep> steps;
  /// The sheet could not take the step of that index, or wants more of them.
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
/// Sheets are answered from a queue. When that is empty, they are shown to the operator by another
/// front end, as are their boxes and questions; without one they are cancelled.
/// Remarks go to the stream of errors.
class ContainerFrontEnd final : public FrontEnd {
public:
  ContainerFrontEnd(std::ostream &out, std::ostream &err) : out_(out), err_(err) {}

  void queueAnswer(SheetAnswer answer) { answers_.push_back(std::move(answer)); }
  /// Where the operator sits; must outlive this object.
  void setOperator(FrontEnd *frontEnd) { operator_ = frontEnd; }

  void messageBox(const std::string &text) override;
  void remark(const std::string &text) override;
  bool showBox(const MessageBox &box) override;
  /// A step that the sheet cannot take is reported to the answer's `failed`, and the sheet
  /// cancelled.
  bool showSheet(PropertySheet &sheet) override;

private:
  /// An answer at work. A dialog takes the steps from where the sheet around it is.
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
  int asking_ = 0;      ///< sheets that the operator has before him
  std::string refusal_; ///< the text of the last box
};

} // namespace velto
