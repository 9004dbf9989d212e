#include "apps/velto/describe/compliance_page.h"

#include "base/text.h"
#include "gem/compliance.h"

namespace velto {

namespace {

void addTable(std::string &page, const char *heading, std::span<const ComplianceRow> rows) {
  page += std::string("| ") + heading +
          " | Implemented | GEM compliant | Messages | How |\n| --- | --- | --- | --- | --- |\n";
  for (const ComplianceRow &row : rows) {
    std::string messages;
    for (const MessageNumber message : row.messages)
      messages +=
          formatText("%sS%uF%u", messages.empty() ? "" : ", ", message.stream, message.function);
    page += formatText(
        "| %s | yes%s | yes | %s | %s |\n", row.name,
        row.capability == 0 ? "" : formatText(", with `Capabilities` %u", row.capability).c_str(),
        messages.c_str(), row.how);
  }
}

} // namespace

std::string describeCompliance() {
  std::string page;
  addTable(page, "Fundamental GEM requirement", fundamentalRequirements());
  page += '\n';
  addTable(page, "Additional capability", additionalCapabilities());
  return page;
}

} // namespace velto
