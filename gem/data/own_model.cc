#include "gem/data/own_model.h"

#include <string>
#include <utility>

namespace velto {

void addControlState(GemData &model) {
  if (model.variables.FindByRole(RoleControlState) != nullptr)
    return;
  CHGemEventVid state;
  state.vid = 0xFFFFFFFF;
  state.setDescription("Control state");
  state.SetValue(std::to_string(model.control.initialState));
  model.variables.SetRole(model.variables.Add(std::move(state)), RoleControlState);
}

GemData knownToHost(GemData model) {
  for (size_t i = 0; i < model.variables.Count(); ++i)
    model.variables.SetRole(model.variables.at(i), kNoRole);
  model.control = {};
  addControlState(model);
  model.communication = {.initialState = CommunicationState::NotCommunicating,
                         .modelName = "",
                         .softwareRevision = ""};
  return model;
}

} // namespace velto
