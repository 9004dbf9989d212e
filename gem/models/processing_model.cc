#include "gem/models/processing_model.h"

#include <string>

namespace velto {

void CHGemProcessingModel::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add("Processing Model");
  if (isState<ProcessingState>(state_))
    branch.add(std::string("State : ") + stateName<ProcessingState>(state_));
}

} // namespace velto
