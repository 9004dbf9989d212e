#pragma once

#include "apps/gateway/allow_list.h"
#include "secs2/message.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto::gateway {

/// A request of the bus as messages to the tool.
struct RequestPlan {
  std::string problem;  ///< why it is refused; empty: it is not
  std::string replyTo;  ///< topic; empty: the usual one
  uint32_t timeout = 0; ///< ms; 0: T3
  Action action = Action::Sml;
  std::vector<std::string> names;      ///< what it is about, as the allow list has it
  std::vector<uint32_t> vids;          ///< of the values that are asked for
  std::vector<CHSecsMessage> messages; ///< sent one after the other while the tool grants them
};

/// Reads the JSON of a request, and checks it against what is known of the tool.
RequestPlan readRequest(std::string_view json, const Names &names);

} // namespace velto::gateway
