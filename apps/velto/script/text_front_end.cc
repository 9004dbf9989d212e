#include "apps/velto/script/text_front_end.h"

#include "apps/velto/console/literal.h"
#include "base/text.h"

#include <algorithm>

namespace velto {

namespace {

using Kind = AnswerStep::Kind;

std::string fieldText(const Field &field) {
  std::string text = "  " + field.label;
  if (field.kind != Field::Kind::Label)
    text += ':';
  if (!field.value.empty())
    text += ' ' + field.value;
  return oneLine(text);
}

// The lines of a list: the titles of its columns, then its rows.
std::vector<std::string> listLines(const PageList &list) {
  const std::string text = toText(list.view);
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    const bool selected = lines.size() == list.selected + 1;
    lines.push_back((selected ? "> " : "  ") + text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

const char *boxMark(MessageBox::Icon icon) {
  switch (icon) {
  case MessageBox::Icon::Stop:
    return "[box stop] ";
  case MessageBox::Icon::Question:
    return "[box question] ";
  case MessageBox::Icon::None:
    break;
  }
  return "[box] ";
}

const char *kindName(Kind kind) {
  return kind == Kind::Add ? "add" : kind == Kind::Edit ? "edit" : "delete";
}

bool offers(const PageList &list, Kind kind) {
  return kind == Kind::Add    ? list.add != nullptr
         : kind == Kind::Edit ? list.edit != nullptr
                              : list.remove != nullptr;
}

const char *endMark(bool accepted) { return accepted ? "[ok]" : "[cancel]"; }

} // namespace

void printLine(std::ostream &out, std::string_view text) {
  out << text;
  if (!text.ends_with('\n'))
    out << '\n';
  out.flush();
}

void TextFrontEnd::messageBox(const std::string &text) { showBox({text}); }

void TextFrontEnd::remark(const std::string &text) { printLine(err_, "remark: " + oneLine(text)); }

bool TextFrontEnd::showBox(const MessageBox &box) {
  if (operator_ != nullptr && run_ == nullptr && (asking_ > 0 || box.cancel))
    return operator_->showBox(box);
  printLine(out_, boxMark(box.icon) +
                      oneLine(box.title.empty() ? box.text : box.title + ": " + box.text));
  if (box.icon == MessageBox::Icon::Stop)
    refusal_ = box.text;
  if (!box.cancel)
    return true;
  const bool accepted = run_ != nullptr && !run_->current().cancel;
  printLine(out_, endMark(accepted));
  return accepted;
}

// A dialog that opens from a sheet which the operator works with is shown to the operator too, even
// if answers are queued.
bool TextFrontEnd::showSheet(PropertySheet &sheet) {
  const bool dialog = asking_ > 0 && sheet.isDialog();
  if (operator_ != nullptr && run_ == nullptr && (answers_.empty() || dialog))
    return askOperator(sheet);
  printSheet(sheet);
  bool accepted = false;
  if (run_ != nullptr) {
    accepted = answerDialog(sheet);
  } else if (!answers_.empty()) {
    const SheetAnswer answer = std::move(answers_.front());
    answers_.pop_front();
    Run run{answer};
    run_ = &run;
    accepted = answerSheet(sheet);
    run_ = nullptr;
  }
  printLine(out_, endMark(accepted));
  return accepted;
}

bool TextFrontEnd::askOperator(PropertySheet &sheet) {
  ++asking_;
  const bool accepted = operator_->showSheet(sheet);
  --asking_;
  return accepted;
}

bool TextFrontEnd::answerSheet(PropertySheet &sheet) {
  for (; run_->step < run_->answer.steps.size(); ++run_->step) {
    const AnswerStep &step = run_->current();
    if (step.kind == Kind::Cancel)
      return false;
    if (step.kind != Kind::Ok) {
      if (!take(step, sheet))
        return false;
    } else if (sheet.accept(*this)) {
      return true;
    } else if (!again() || !setFields(run_->current(), sheet) || run_->current().cancel) {
      return false;
    }
  }
  return fail("the answer to " + sheet.title + " ends without ok or cancel");
}

bool TextFrontEnd::answerDialog(PropertySheet &dialog) {
  for (;;) {
    if (!setFields(run_->current(), dialog) || run_->current().cancel)
      return false;
    if (dialog.accept(*this))
      return true;
    if (!again())
      return false;
    printSheet(dialog);
  }
}

// After a refusal: goes on to the next step if that is "again", and fails otherwise.
bool TextFrontEnd::again() {
  const size_t next = run_->step + 1;
  if (next == run_->answer.steps.size() || run_->answer.steps[next].kind != Kind::Again)
    return fail(refusal_);
  run_->step = next;
  return true;
}

bool TextFrontEnd::take(const AnswerStep &step, PropertySheet &sheet) {
  if (step.kind == Kind::Fields)
    return setFields(step, sheet);
  if (step.kind == Kind::Again)
    return fail("nothing was refused, so that nothing is answered again");
  if (step.kind != Kind::Page)
    return act(step, sheet.pages[sheet.active]);
  const auto page = std::ranges::find_if(sheet.pages, [&step](const PropertyPage &candidate) {
    return equalsIgnoreCase(candidate.title, step.name);
  });
  if (page == sheet.pages.end())
    return fail(sheet.title + " has no page " + step.name);
  sheet.active = static_cast<size_t>(page - sheet.pages.begin());
  printPage(*page);
  return true;
}

bool TextFrontEnd::act(const AnswerStep &step, PropertyPage &page) {
  if (!page.list)
    return fail("page " + page.title + " has no list");
  PageList &list = *page.list;
  if (!offers(list, step.kind))
    return fail("page " + page.title + " offers no " + kindName(step.kind));
  if (step.kind == Kind::Add) {
    list.add();
  } else {
    const auto &rows = list.view.rows;
    const auto row = std::ranges::find_if(rows, [&step](const std::vector<std::string> &cells) {
      return !cells.empty() && equalsIgnoreCase(cells[0], step.name);
    });
    if (row == rows.end())
      return fail("page " + page.title + " has no row " + step.name);
    list.selected = static_cast<size_t>(row - rows.begin());
    (step.kind == Kind::Edit ? list.edit : list.remove)(list.selected);
  }
  if (run_->failed)
    return false;
  const std::vector<std::string> lines = listLines(list);
  if (list.selected + 1 < lines.size())
    printLine(out_, lines[list.selected + 1]);
  return true;
}

bool TextFrontEnd::setFields(const AnswerStep &step, PropertySheet &sheet) {
  for (const auto &[name, value] : step.fields) {
    Field *field = sheet.find(name);
    if (field == nullptr || field->kind == Field::Kind::Label)
      return fail(sheet.title + " has no field " + name);
    field->value = value;
  }
  return true;
}

bool TextFrontEnd::fail(const std::string &reason) {
  run_->failed = true;
  run_->answer.failed(reason, run_->step);
  return false;
}

void TextFrontEnd::printSheet(const PropertySheet &sheet) {
  printLine(out_, (sheet.isDialog() ? "[dialog] " : "[sheet] ") + oneLine(sheet.title));
  for (const PropertyPage &page : sheet.pages)
    printPage(page);
}

void TextFrontEnd::printPage(const PropertyPage &page) {
  if (!page.title.empty())
    printLine(out_, "[page] " + oneLine(page.title));
  for (const Field &field : page.fields)
    printLine(out_, fieldText(field));
  if (!page.list)
    return;
  for (const std::string &line : listLines(*page.list))
    printLine(out_, line);
}

} // namespace velto
