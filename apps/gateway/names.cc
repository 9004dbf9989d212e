#include "apps/gateway/names.h"

#include "gem/model_text/model_file.h"
#include "gem/model_text/model_text.h"

#include <algorithm>
#include <utility>

namespace velto::gateway {

std::shared_ptr<const Names> Names::read(const std::string &path, std::string &problem) {
  auto model = readModel(systemFiles(), path, problem);
  if (!model)
    return nullptr;
  auto names = std::make_shared<Names>();
  names->source_ = modelToText(*model);
  names->model_ = std::move(*model);
  return names;
}

std::optional<uint32_t> Names::findVariable(std::string_view name) const {
  const auto &list = model_.variables;
  for (size_t i = 0; i < list.Count(); ++i)
    if (list.at(i).description() == name)
      return list.at(i).vid;
  return std::nullopt;
}

std::optional<uint32_t> Names::findEvent(std::string_view name) const {
  const auto &list = model_.events;
  for (size_t i = 0; i < list.Count(); ++i)
    if (list.at(i).description == name)
      return list.at(i).ceid;
  return std::nullopt;
}

bool Names::hasCommand(std::string_view name) const {
  return std::ranges::any_of(model_.commands,
                             [name](const CHGemCommand &command) { return command.name == name; });
}

uint32_t Names::clock() const {
  const CHGemEventVid *variable = model_.variables.FindByRole(RoleClock);
  return variable == nullptr ? 0 : variable->vid;
}

std::string Names::eventName(uint32_t ceid) const {
  const CHGemEventCeid *event = model_.events.FindCeid(ceid);
  return event == nullptr ? "" : event->description;
}

std::string topicLevel(std::string_view name) {
  std::string level(name);
  for (char &c : level) {
    const bool stays = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       c == '-' || c == '_';
    c = stays ? c : '_';
  }
  return level.empty() ? "_" : level;
}

} // namespace velto::gateway
