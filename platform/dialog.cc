#include "platform/dialog.h"

#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace velto {

namespace {

bool isIntegerWithin(std::string_view text, int64_t minimum, int64_t maximum) {
  text = trim(text);
  const char *end = text.data() + text.size();
  int64_t value = 0;
  const auto result = std::from_chars(text.data(), end, value);
  return result.ec == std::errc{} && result.ptr == end && value >= minimum && value <= maximum;
}

bool isValid(const Field &field) {
  switch (field.kind) {
  case Field::Kind::Integer:
    return isIntegerWithin(field.value, field.minimum, field.maximum);
  case Field::Kind::Check:
    return field.value == "true" || field.value == "false";
  case Field::Kind::Choice:
    return std::find(field.choices.begin(), field.choices.end(), field.value) !=
           field.choices.end();
  case Field::Kind::Text:
  case Field::Kind::Label:
    break;
  }
  return true;
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
  field.value = std::move(value);
  return field;
}

} // namespace

void PropertyPage::text(std::string key, std::string label, std::string value) {
  fields.push_back(
      makeField(Field::Kind::Text, std::move(key), std::move(label), std::move(value)));
}

void PropertyPage::integer(std::string key, std::string label, int64_t value, int64_t minimum,
                           int64_t maximum) {
  Field field = makeField(Field::Kind::Integer, std::move(key), std::move(label), "");
  appendDecimal(field.value, value);
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

std::string PropertySheet::firstInvalid() const {
  for (const PropertyPage &page : pages)
    for (const Field &field : page.fields)
      if (!isValid(field))
        return field.label;
  return "";
}

FrontEnd &headlessFrontEnd() {
  static HeadlessFrontEnd frontEnd;
  return frontEnd;
}

} // namespace velto
