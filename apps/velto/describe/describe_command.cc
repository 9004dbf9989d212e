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
  std::string controls = "Controls:";
  for (const MemberTable *table : controlTables())
    controls += std::string(" ") + table->controlName;
  bool markdown = false;
  std::vector<std::string> names;
  CommandLine line("describe", "Prints the members of controls.");
  line.flag("--markdown", markdown, "the reference of all controls");
  line.arguments("CONTROL", names,
                 "a control; or \"messages\": the table of SECS-II messages; or \"gem\": the "
                 "compliance statement of SEMI E30");
  line.exclude({"--markdown", "CONTROL"});
  line.footer(controls);
  if (const auto status = line.read(arguments))
    return *status;
  if (!markdown && names.empty())
    return line.wrong("CONTROL or --markdown is needed");
  if (markdown) {
    std::cout << "# Controls\n";
    for (const MemberTable *table : controlTables())
      std::cout << '\n' << describeMarkdown(*table);
    std::cout << '\n' << enumerationsMarkdown(controlTables());
    return kExitDone;
  }
  if (names[0] == "messages") {
    std::cout << describeMessages();
    return kExitDone;
  }
  if (names[0] == "gem") {
    std::cout << describeCompliance();
    return kExitDone;
  }
  for (const std::string &name : names) {
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
