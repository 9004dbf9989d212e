#include "apps/velto/demo/demo_command.h"

#include "apps/velto/demo/gem_story.h"
#include "apps/velto/demo/hsms_story.h"
#include "apps/velto/demo/secsi_story.h"

#include <iostream>

namespace velto {

namespace {

constexpr const char *kUsage =
    "usage: velto demo           a day of an etch tool and its host\n"
    "       velto demo --hsms    messages between two HSMS ends, without an equipment model\n"
    "       velto demo --secs1   the same by SECS-I over a serial line, with blocks and "
    "contention\n\n"
    "Connects a host to an equipment in one process, lets them work with each other and prints\n"
    "every message. The exit status is 0 when all of it went as it should.\n";

} // namespace

int runDemoCommand(const CommandArguments &arguments) {
  if (arguments.empty())
    return tellGemStory() ? kExitDone : kExitFailed;
  if (arguments.size() == 1 && arguments[0] == "--hsms")
    return tellHsmsStory() ? kExitDone : kExitFailed;
  if (arguments.size() == 1 && arguments[0] == "--secs1")
    return tellSecsIStory() ? kExitDone : kExitFailed;
  if (arguments[0] == "--help") {
    std::cout << kUsage;
    return kExitDone;
  }
  std::cerr << kUsage;
  return kExitUsage;
}

} // namespace velto
