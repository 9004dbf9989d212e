#include "controls/component/control.h"

#include "controls/component/version.h"

#include <limits>
#include <utility>

namespace velto {

namespace {

// Properties from this id on came later: a bag states them only where they differ from their
// default, so that it otherwise holds what it always did.
constexpr int kFirstLaterId = 200;

Outcome failure(AccessFault fault, std::string reason) { return {{}, std::move(reason), fault}; }

/// The arguments as the member declares them; with the reason when they do not fit.
struct Converted {
  std::vector<Variant> values;
  std::string error;
  AccessFault fault = AccessFault::None;
};

Converted convert(const Member &member, Arguments arguments) {
  const size_t count = member.arguments.size();
  if (arguments.size() != count)
    return {{},
            member.name + " takes " + std::to_string(count) +
                (count == 1 ? " argument, not " : " arguments, not ") +
                std::to_string(arguments.size()),
            AccessFault::WrongArguments};
  Converted converted;
  converted.values.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    auto value = arguments[i].as(member.arguments[i].type);
    if (!value)
      return {{},
              member.name + ": " + member.arguments[i].name + " must be " +
                  toText(member.arguments[i].type),
              AccessFault::WrongType};
    converted.values.push_back(std::move(*value));
  }
  return converted;
}

const Enumeration &appearances() {
  static const Enumeration appearances{"VeltoAppearance",
                                       "How a window is drawn.",
                                       {{0, "Flat", "Flat."}, {1, "Raised", "Three-dimensional."}}};
  return appearances;
}

const Enumeration &borderStyles() {
  static const Enumeration styles{"VeltoBorderStyle",
                                  "The border of a window.",
                                  {{0, "NoBorder", "None."}, {1, "SingleLine", "A single line."}}};
  return styles;
}

const char *kindName(Member::Kind kind) {
  return kind == Member::Kind::Property ? "property" : "method";
}

} // namespace

std::vector<Member> Control::stockMembers() {
  return Members<Control>("", "", "")
      .property<&Control::Appearance, &Control::SetAppearance>(-520, "Appearance",
                                                               "How the window is drawn.")
      .sensible(0, 1)
      .of(appearances())
      .property<&Control::BorderStyle, &Control::SetBorderStyle>(-504, "BorderStyle",
                                                                 "The window's border.")
      .sensible(0, 1)
      .of(borderStyles())
      .method<&Control::AboutBox>(-552, "AboutBox", {},
                                  "Shows a box with the control's name and version.")
      .list();
}

void Control::SetAppearance(int16_t value) {
  appearance_ = value;
  viewChanged();
}

void Control::SetBorderStyle(int16_t value) {
  borderStyle_ = value;
  viewChanged();
}

void Control::AboutBox() { site_.frontEnd.messageBox(members().controlName + ' ' + kVersion); }

Outcome Control::get(std::string_view name, Arguments index) {
  const Member *member = members().find(name, Member::Kind::Property);
  return member != nullptr ? read(*member, index) : unknown(Member::Kind::Property, name);
}

Outcome Control::get(int id, Arguments index) {
  const Member *member = members().find(id, Member::Kind::Property);
  return member != nullptr ? read(*member, index)
                           : unknown(Member::Kind::Property, std::to_string(id));
}

Outcome Control::set(std::string_view name, const Variant &value, Arguments index) {
  const Member *member = members().find(name, Member::Kind::Property);
  return member != nullptr ? write(*member, value, index) : unknown(Member::Kind::Property, name);
}

Outcome Control::set(int id, const Variant &value, Arguments index) {
  const Member *member = members().find(id, Member::Kind::Property);
  return member != nullptr ? write(*member, value, index)
                           : unknown(Member::Kind::Property, std::to_string(id));
}

Outcome Control::call(std::string_view name, Arguments arguments) {
  const Member *member = members().find(name, Member::Kind::Method);
  return member != nullptr ? invoke(*member, arguments) : unknown(Member::Kind::Method, name);
}

Outcome Control::call(int id, Arguments arguments) {
  const Member *member = members().find(id, Member::Kind::Method);
  return member != nullptr ? invoke(*member, arguments)
                           : unknown(Member::Kind::Method, std::to_string(id));
}

Outcome Control::unknown(Member::Kind kind, std::string_view name) const {
  return failure(AccessFault::NoSuchMember,
                 members().controlName + " has no " + kindName(kind) + ' ' + std::string(name));
}

// Any of these three may end with the control destroyed: a setter or method raises events.

Outcome Control::read(const Member &member, Arguments index) {
  const Converted converted = convert(member, index);
  if (!converted.error.empty())
    return failure(converted.fault, converted.error);
  return {member.get(*this, converted.values), ""};
}

Outcome Control::write(const Member &member, const Variant &value, Arguments index) {
  if (member.set == nullptr)
    return failure(AccessFault::NotWritable, member.name + " is read only");
  const Converted converted = convert(member, index);
  if (!converted.error.empty())
    return failure(converted.fault, converted.error);
  const auto typed = value.as(member.type);
  if (!typed)
    return failure(AccessFault::WrongType, member.name + " must be " + toText(member.type));
  member.set(*this, converted.values, *typed);
  return {};
}

Outcome Control::invoke(const Member &member, Arguments arguments) {
  const Converted converted = convert(member, arguments);
  if (!converted.error.empty())
    return failure(converted.fault, converted.error);
  return {member.call(*this, converted.values), ""};
}

void Control::observe(Observer observer) {
  observer_ = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
}

void Control::notify(int eventId, Arguments arguments) {
  const auto observer = observer_;
  if (observer == nullptr)
    return;
  if (const Member *event = members().find(eventId, Member::Kind::Event))
    (*observer)(*event, arguments);
}

bool Control::showSheet(PropertySheet &sheet) {
  if (sheetOpen_)
    return false;
  const Lifetime::Watch alive(lifetime_);
  sheetOpen_ = true;
  const bool accepted = site_.frontEnd.showSheet(sheet);
  if (!alive)
    return false;
  sheetOpen_ = false;
  return accepted && sheet.problem().empty();
}

// The page and the bag hold the same properties, so the page is a bag that the operator edits. What
// he leaves alone stays as the host may have set it meanwhile.
bool Control::ShowPropertyPage() {
  PropertySheet sheet;
  sheet.title = members().controlName + " Properties";
  PropertyPage &page = sheet.pages.emplace_back();
  page.title = "General";
  for (const Member &member : members().members) {
    if (!member.persisted)
      continue;
    const Variant value = persistedValue(member);
    if (member.type == ValueType::Bool)
      page.check(member.name, member.name, value.toBool());
    else if (member.type == ValueType::Int16 || member.type == ValueType::Int32)
      page.integer(member.name, member.name, value.toInteger(),
                   member.type == ValueType::Int16 ? std::numeric_limits<int16_t>::min()
                                                   : std::numeric_limits<int32_t>::min(),
                   member.type == ValueType::Int16 ? std::numeric_limits<int16_t>::max()
                                                   : std::numeric_limits<int32_t>::max());
    else
      page.text(member.name, member.name, value.text());
  }
  if (!showSheet(sheet))
    return false;
  const Lifetime::Watch alive(lifetime_);
  for (const Field &field : sheet.pages[0].fields) {
    if (!field.changed())
      continue;
    const Member *member = members().find(field.key, Member::Kind::Property);
    const auto value = Variant(field.value).as(member->type);
    if (value && persistedValue(*member) != *value)
      member->set(*this, {}, *value);
    if (!alive)
      return false;
  }
  return true;
}

PropertyBag Control::save() {
  PropertyBag bag;
  for (const Member &member : members().members) {
    if (!member.persisted)
      continue;
    Variant value = persistedValue(member);
    if (member.id < kFirstLaterId || value != *member.persisted)
      bag.set(member.name, std::move(value));
  }
  saveExtras(bag);
  modified_ = false;
  return bag;
}

void Control::load(const PropertyBag &bag) {
  Lifetime::Watch alive(lifetime_);
  prepareLoad();
  if (alive)
    loadExtras(bag);
  for (const Member &member : members().members) {
    if (!alive)
      return;
    if (!member.persisted)
      continue;
    const Variant *kept = bag.find(member.name);
    const auto value = kept != nullptr ? kept->as(member.type) : std::nullopt;
    const Variant &wanted = value ? *value : *member.persisted;
    if (persistedValue(member) != wanted)
      member.set(*this, {}, wanted);
  }
  if (!alive)
    return;
  modified_ = false;
}

} // namespace velto
