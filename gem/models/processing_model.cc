#include "gem/models/processing_model.h"

#include <string>

namespace velto {

bool CHGemProcessingModel::SetState(int state) {
  if (state < 0 || !isState<ProcessingState>(static_cast<size_t>(state)))
    return false;
  state_ = static_cast<uint8_t>(state);
  return true;
}

void CHGemProcessingModel::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Processing Model");
  branch.add(std::string("State : ") + stateName<ProcessingState>(state_));
}

} // namespace velto
