#include "apps/velto/script/stage.h"

#include <algorithm>
#include <utility>

namespace velto::script {

Stage::Stage(ControlFactory factory, EventSink onEvent, HandlerSink onHandler)
    : factory_(std::move(factory)), onEvent_(std::move(onEvent)), onHandler_(std::move(onHandler)) {
}

Stage::~Stage() {
  for (auto &[name, entry] : entries_)
    retire(entry);
}

std::string Stage::add(const std::string &name, const std::string &kind, const ControlSite &site) {
  if (find(name) != nullptr)
    return "there is a control " + name + " already";
  auto control = factory_(kind, site);
  if (control == nullptr)
    return "unknown kind of control " + kind;
  Control *const added = control.get();
  keep(name, {std::move(control), added, {}});
  return "";
}

void Stage::adopt(const std::string &name, Control &control) {
  keep(name, {nullptr, &control, {}});
}

void Stage::keep(const std::string &name, Entry entry) {
  entry.control->observe(
      [this, name](const Member &event, Arguments arguments) { handle(name, event, arguments); });
  entries_[name] = std::move(entry);
}

// The entry is taken out and its handlers are switched off before the control is destroyed: its
// destructor may run for a while, and commands must not find the control meanwhile.
std::string Stage::remove(const std::string &name) {
  const auto found = entries_.find(name);
  if (found == entries_.end())
    return noControl(name);
  if (found->second.owned == nullptr)
    return name + " belongs to the program";
  const auto node = entries_.extract(found);
  retire(node.mapped());
  return "";
}

void Stage::retire(Entry &entry) {
  entry.control->observe(nullptr);
  for (const auto &handler : entry.handlers)
    handler->active = false;
  for (Awaited *awaited : awaited_)
    if (awaited->control_ == entry.control)
      awaited->gone_ = true;
}

Control *Stage::find(const std::string &name) const {
  const auto found = entries_.find(name);
  return found == entries_.end() ? nullptr : found->second.control;
}

std::vector<std::pair<std::string, Control *>> Stage::controls() const {
  std::vector<std::pair<std::string, Control *>> controls;
  for (const auto &[name, entry] : entries_)
    controls.emplace_back(name, entry.control);
  return controls;
}

bool Stage::addHandler(const std::string &name, const Member &event,
                       std::shared_ptr<const Body> body) {
  const auto found = entries_.find(name);
  if (found == entries_.end())
    return false;
  found->second.handlers.push_back(std::make_shared<Handler>(Handler{event, std::move(body)}));
  return true;
}

bool Stage::removeHandlers(const std::string &name, const Member &event) {
  const auto found = entries_.find(name);
  if (found == entries_.end())
    return false;
  std::erase_if(found->second.handlers, [&event](const std::shared_ptr<Handler> &handler) {
    if (&handler->event == &event)
      handler->active = false;
    return !handler->active;
  });
  return true;
}

// Only handlers that exist when the event comes are run. One that a handler adds is for the next
// event.
void Stage::handle(const std::string &name, const Member &event, Arguments arguments) {
  const Control *control = find(name);
  for (Awaited *awaited : awaited_)
    if (awaited->control_ == control && !awaited->gone_ && &awaited->event_ == &event)
      awaited->came_ = true;
  const Entry &entry = entries_.at(name);
  const auto handlers = entry.handlers;
  if (entry.owned != nullptr)
    onEvent_(name, event, arguments);
  for (const auto &handler : handlers)
    if (handler->active && &handler->event == &event)
      onHandler_(handler->body, event, arguments);
}

Stage::Awaited::Awaited(Stage &stage, const std::string &name, const Member &event)
    : stage_(stage), control_(stage.find(name)), event_(event) {
  stage_.awaited_.push_back(this);
}

Stage::Awaited::~Awaited() { std::erase(stage_.awaited_, this); }

} // namespace velto::script
