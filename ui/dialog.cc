#include "ui/dialog.h"

#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace velto {

namespace {

constexpr size_t kMostChoicesNamed = 12;

bool isIntegerWithin(std::string_view text, int64_t minimum, int64_t maximum) {
  text = trim(text);
  const char *end = text.data() + text.size();
  int64_t value = 0;
  const auto result = std::from_chars(text.data(), end, value);
  return result.ec == std::errc{} && result.ptr == end && value >= minimum && value <= maximum;
}

bool isShortEnough(const Field &field) {
  return field.maximum == 0 || std::cmp_less_equal(field.value.size(), field.maximum);
}

std::string choicesText(const std::vector<std::string> &choices) {
  if (choices.size() > kMostChoicesNamed)
    return "one of its " + std::to_string(choices.size()) + " choices";
  std::string text;
  for (size_t i = 0; i < choices.size(); ++i)
    text += (i == 0 ? "" : i + 1 == choices.size() ? " or " : ", ") + choices[i];
  return text;
}

// What the field takes, when its value is nothing of the kind; else empty.
std::string wanted(const Field &field) {
  switch (field.kind) {
  case Field::Kind::Text:
    if (field.value.find_first_of("\r\n") != std::string::npos)
      return "a text on one line";
    return isShortEnough(field) ? "" : std::to_string(field.maximum) + " characters at most";
  case Field::Kind::Word:
    if (field.value.find_first_of(" \t\r\n") != std::string::npos)
      return "a text without blanks";
    return isShortEnough(field) ? "" : std::to_string(field.maximum) + " characters at most";
  case Field::Kind::Integer:
    if (isIntegerWithin(field.value, field.minimum, field.maximum))
      return "";
    return "a number from " + std::to_string(field.minimum) + " to " +
           std::to_string(field.maximum);
  case Field::Kind::Check:
    return field.value == "true" || field.value == "false" ? "" : "true or false";
  case Field::Kind::Choice:
    return std::ranges::find(field.choices, field.value) != field.choices.end()
               ? ""
               : choicesText(field.choices);
  case Field::Kind::Label:
    break;
  }
  return "";
}

class HeadlessFrontEnd final : public FrontEnd {
public:
  void messageBox(const std::string &) override {}
  bool showSheet(PropertySheet &) override { return false; }
};

Field makeField(Field::Kind kind, std::string key, std::string label, std::string value) {
  Field field;
  field.kind = kind;
  field.key = std::move(key);
  field.label = std::move(label);
  field.shown = value;
  field.value = std::move(value);
  return field;
}

} // namespace

std::string Field::problem() const {
  const std::string takes = changed() ? wanted(*this) : "";
  return takes.empty() ? "" : label + " takes " + takes + ", not \"" + value + "\".";
}

void PropertyPage::text(std::string key, std::string label, std::string value, int64_t longest) {
  fields.push_back(
      makeField(Field::Kind::Text, std::move(key), std::move(label), std::move(value)));
  fields.back().maximum = longest;
}

void PropertyPage::word(std::string key, std::string label, std::string value, int64_t longest) {
  text(std::move(key), std::move(label), std::move(value), longest);
  fields.back().kind = Field::Kind::Word;
}

void PropertyPage::integer(std::string key, std::string label, int64_t value, int64_t minimum,
                           int64_t maximum) {
  Field field =
      makeField(Field::Kind::Integer, std::move(key), std::move(label), std::to_string(value));
  field.minimum = minimum;
  field.maximum = maximum;
  fields.push_back(std::move(field));
}

void PropertyPage::check(std::string key, std::string label, bool value) {
  fields.push_back(
      makeField(Field::Kind::Check, std::move(key), std::move(label), value ? "true" : "false"));
}

void PropertyPage::choice(std::string key, std::string label, std::string value,
                          std::vector<std::string> choices) {
  Field field = makeField(Field::Kind::Choice, std::move(key), std::move(label), std::move(value));
  field.choices = std::move(choices);
  fields.push_back(std::move(field));
}

void PropertyPage::label(std::string key, std::string text) {
  fields.push_back(makeField(Field::Kind::Label, std::move(key), std::move(text), ""));
}

const Field &PropertyPage::field(std::string_view key) const {
  return *std::ranges::find(fields, key, &Field::key);
}

Field &PropertyPage::field(std::string_view key) {
  return const_cast<Field &>(std::as_const(*this).field(key));
}

MessageBox errorBox(std::string text) { return {std::move(text), "Error", MessageBox::Icon::Stop}; }

bool FrontEnd::showBox(const MessageBox &box) {
  messageBox(box.text);
  return !box.cancel;
}

// A key outranks a label: the label of one field may be the key of another.
Field *PropertySheet::find(std::string_view keyOrLabel) {
  for (const auto name : {&Field::key, &Field::label})
    for (PropertyPage &page : pages)
      for (Field &field : page.fields)
        if (equalsIgnoreCase(field.*name, keyOrLabel))
          return &field;
  return nullptr;
}

std::string PropertySheet::value(std::string_view key) {
  const Field *field = find(key);
  return field == nullptr ? "" : field->value;
}

int64_t PropertySheet::integer(std::string_view key) {
  return parseDecimal(value(key)).value_or(0);
}

bool PropertySheet::checked(std::string_view key) { return value(key) == "true"; }

std::string PropertySheet::problem() {
  for (size_t page = 0; page < pages.size(); ++page) {
    for (const Field &field : pages[page].fields) {
      if (std::string problem = field.problem(); !problem.empty()) {
        active = page;
        return problem;
      }
    }
  }
  return check ? check(*this) : "";
}

bool PropertySheet::accept(FrontEnd &frontEnd) {
  const std::string reason = problem();
  if (!reason.empty())
    frontEnd.showBox(errorBox(reason));
  return reason.empty();
}

FrontEnd &headlessFrontEnd() {
  static HeadlessFrontEnd frontEnd;
  return frontEnd;
}

} // namespace velto
