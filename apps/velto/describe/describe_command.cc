#include "apps/velto/describe/describe_command.h"

#include "apps/velto/console/member_text.h"
#include "apps/velto/describe/compliance_page.h"
#include "apps/velto/describe/message_page.h"
#include "base/text.h"
#include "controls/registry.h"

#include <iostream>

namespace velto {

namespace {

const MemberTable *findTable(std::string_view name) {
  for (const MemberTable *table : controlTables())
    if (equalsIgnoreCase(table->controlName, name))
      return table;
  return nullptr;
}

} // namespace

int runDescribeCommand(const CommandArguments &arguments) {
  if (arguments.empty() || asksForHelp(arguments)) {
    std::cout << "usage: velto describe CONTROL…\n"
                 "       velto describe --markdown    the reference of all controls\n"
                 "       velto describe messages      the table of SECS-II messages\n"
                 "       velto describe gem           the compliance statement of SEMI E30\n\n"
                 "Controls:";
    for (const MemberTable *table : controlTables())
      std::cout << ' ' << table->controlName;
    std::cout << '\n';
    return arguments.empty() ? kExitUsage : kExitDone;
  }
  if (arguments[0] == "--markdown") {
    std::cout << "# Controls\n";
    for (const MemberTable *table : controlTables())
      std::cout << '\n' << describeMarkdown(*table);
    std::cout << '\n' << enumerationsMarkdown(controlTables());
    return kExitDone;
  }
  if (arguments[0] == "messages") {
    std::cout << describeMessages();
    return kExitDone;
  }
  if (arguments[0] == "gem") {
    std::cout << describeCompliance();
    return kExitDone;
  }
  for (const std::string &name : arguments) {
    const MemberTable *table = findTable(name);
    if (table == nullptr) {
      std::cerr << "velto: there is no control \"" << name << "\"\n";
      return kExitFailed;
    }
    std::cout << describe(*table);
  }
  return kExitDone;
}

} // namespace velto
