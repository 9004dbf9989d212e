#include "apps/velto/text_front_end.h"

#include "apps/velto/container/literal.h"

namespace velto {

namespace {

/// The reason why the sheet cannot take the answer; empty when it has.
std::string apply(const SheetAnswer &answer, PropertySheet &sheet) {
  for (const auto &[name, value] : answer.fields) {
    Field *field = sheet.find(name);
    if (field == nullptr || field->kind == Field::Kind::Label)
      return sheet.title + " has no field " + name;
    field->value = value;
  }
  if (!answer.accept)
    return "";
  const std::string invalid = sheet.firstInvalid();
  return invalid.empty() ? "" : sheet.title + " cannot take this value: " + invalid;
}

std::string fieldText(const Field &field) {
  std::string text = "  " + field.label;
  if (field.kind != Field::Kind::Label)
    text += ':';
  if (!field.value.empty())
    text += ' ' + field.value;
  return container::oneLine(text);
}

} // namespace

void printLine(std::ostream &out, std::string_view text) {
  out << text;
  if (!text.ends_with('\n'))
    out << '\n';
  out.flush();
}

void ContainerFrontEnd::messageBox(const std::string &text) {
  printLine(out_, "[box] " + container::oneLine(text));
}

bool ContainerFrontEnd::showSheet(PropertySheet &sheet) {
  printSheet(sheet);
  const bool accepted = answered(sheet);
  printLine(out_, accepted ? "[ok]" : "[cancel]");
  return accepted;
}

bool ContainerFrontEnd::answered(PropertySheet &sheet) {
  if (answers_.empty())
    return false;
  const SheetAnswer answer = std::move(answers_.front());
  answers_.pop_front();
  PropertySheet edited = sheet;
  const std::string problem = apply(answer, edited);
  if (!problem.empty()) {
    answer.failed(problem);
    return false;
  }
  if (answer.accept)
    sheet = std::move(edited);
  return answer.accept;
}

void ContainerFrontEnd::printSheet(const PropertySheet &sheet) {
  printLine(out_, "[sheet] " + container::oneLine(sheet.title));
  for (const PropertyPage &page : sheet.pages) {
    printLine(out_, "[page] " + container::oneLine(page.title));
    for (const Field &field : page.fields)
      printLine(out_, fieldText(field));
  }
}

} // namespace velto
