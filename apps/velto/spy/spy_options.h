#pragma once

#include "apps/velto/console/command_line.h"
#include "apps/velto/spy/conversation.h"
#include "apps/velto/spy/spy_console.h"

#include <string>

namespace velto {

/// How connections are judged and shown.
struct SpyOptions {
  Conversation::Settings conversation;
  SpyConsole::Settings console;
  std::string names; ///< path of a model
  int32_t edition = 1;

  void declare(CommandLine &line);
  /// To be called when the command line was read. What is wrong, else an empty text.
  std::string finish();
};

} // namespace velto
