#include "apps/velto/demo/demo_command.h"

#include "apps/velto/demo/gem_story.h"
#include "apps/velto/demo/hsms_story.h"
#include "apps/velto/demo/secsi_story.h"

namespace velto {

namespace {

constexpr const char *kAbout =
    "Connects a host to an equipment in one process, lets them work with each other and prints "
    "every message: a day of an etch tool and its host, unless an option asks for another story. "
    "The exit status is 0 when all of it went as it should.";

} // namespace

int runDemoCommand(const CommandArguments &arguments) {
  bool hsms = false;
  bool secs1 = false;
  CommandLine line("demo", kAbout);
  line.flag("--hsms", hsms, "messages between two HSMS ends, without an equipment model");
  line.flag("--secs1", secs1, "the same by SECS-I over a serial line, with blocks and contention");
  line.exclude({"--hsms", "--secs1"});
  if (const auto status = line.read(arguments))
    return *status;
  const bool told = hsms ? tellHsmsStory() : secs1 ? tellSecsIStory() : tellGemStory();
  return told ? kExitDone : kExitFailed;
}

} // namespace velto
