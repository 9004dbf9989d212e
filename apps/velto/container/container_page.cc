#include "apps/velto/container/container_page.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/web/gem_page.h"
#include "base/date_time.h"

namespace velto {

namespace {

// Those without an index that are no message: texts only where the bag keeps them.
bool isShown(const Member &member) {
  return member.kind == Member::Kind::Property && member.arguments.empty() &&
         member.get != nullptr && (member.type != ValueType::Text || member.persisted);
}

void addProperties(WebTable &table, const std::string &name, Control &control) {
  for (const Member &member : control.members().members) {
    if (!isShown(member))
      continue;
    const Outcome value = control.get(member.id);
    table.rows.push_back({name + '.' + member.name,
                          {name, control.members().controlName, member.name,
                           value ? webCell(toLiteral(value.value)) : value.error, member.unit}});
  }
}

} // namespace

FedOutput::int_type FedOutput::overflow(int_type c) {
  if (c == traits_type::eof())
    return traits_type::not_eof(c);
  const char byte = traits_type::to_char_type(c);
  if (byte != '\n' && line_.size() < kLongest)
    line_ += byte;
  if (byte == '\n' && feed_ != nullptr && feed_->takes())
    feed_->add({0, CJTime(clock_.localTime()).TimeText(0), kind_, line_, {}, {}});
  if (byte == '\n')
    line_.clear();
  return out_.rdbuf()->sputc(byte);
}

WebSnapshot ContainerPage::snapshot() {
  WebSnapshot snapshot;
  snapshot.program = "container";
  const auto controls = interpreter_.controls();
  snapshot.title = "Container";
  snapshot.place = std::to_string(controls.size()) + " controls";
  WebTable properties{
      "Properties",
      {{"Control"}, {"Kind"}, {"Property"}, {"Value", WebColumn::Kind::Number}, {"Unit"}},
      {}};
  for (const auto &[name, control] : controls) {
    addProperties(properties, name, *control);
    if (auto *gem = dynamic_cast<CVeltoGemCtrl *>(control))
      addGemStates(snapshot, *gem, name + ": ");
  }
  snapshot.tables.push_back(std::move(properties));
  return snapshot;
}

void ContainerPage::act(const WebAction &, std::function<void(WebResult)> done) {
  done({false, "there is nothing to do here"});
}

} // namespace velto
