#pragma once

#include "apps/velto/console/command_line.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// Where a page is served, and to whom.
struct WebOptions {
  std::string address = "127.0.0.1"; ///< IPv6 without brackets
  std::optional<int32_t> port = {};  ///< 0: any free one; without one there is no page
  std::string token = {};            ///< what a browser has to know; empty: nothing
};

/// Declares `--web [ADDRESS:]PORT` and `--web-token TOKEN`.
void declareWebOptions(CommandLine &line, WebOptions &options);
/// What the command line cannot say by itself: the page is open to this computer alone unless there
/// is a token. Empty when all is well.
std::string webOptionsProblem(const WebOptions &options);

/// Takes "8080", "10.0.0.5:8080", "[::1]:8080". Returns what is wrong with it, or an empty text.
std::string takeWebAddress(std::string_view word, WebOptions &options);

} // namespace velto
