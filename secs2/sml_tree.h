#pragma once

#include "secs2/message.h"
#include "ui/view.h"

namespace velto {

/// The message as a tree window shows it: the header's name as root, its ten bytes in hexadecimal
/// as first child, below it the items. The root is expanded.
TreeNode MessageTree(const CHSecsMessage &message);

} // namespace velto
