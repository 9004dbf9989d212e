#include "gem/models/processing_model.h"

#include <iterator>
#include <string>

namespace velto {

void CHGemProcessingModel::addStatus(TreeNode &parent) const {
  static constexpr const char *kNames[] = {"IDLE", "SETUP", "READY", "EXECUTING", "PAUSE"};
  TreeNode &branch = parent.add("Processing Model");
  const auto index = static_cast<size_t>(state_);
  if (index < std::size(kNames))
    branch.add(std::string("State : ") + kNames[index]);
}

} // namespace velto
