// The type library: what the controls are, as JSON made from their member tables.

#include "base/json_text.h"
#include "base/text.h"
#include "controls/component/version.h"
#include "controls/registry.h"
#include "module/objects.h"

using namespace velto;
using namespace velto::module;

namespace {

const char *kindName(Member::Kind kind) {
  return kind == Member::Kind::Property ? "property"
         : kind == Member::Kind::Method ? "method"
                                        : "event";
}

std::string valueJson(const Variant &value) {
  return value.empty() ? "null" : value.isText() ? jsonText(value.toString()) : value.text();
}

std::string argumentJson(const Argument &argument) {
  std::string out =
      "{\"name\":" + jsonText(argument.name) + ",\"type\":\"" + toText(argument.type) + '"';
  if (argument.values != nullptr)
    out += ",\"enumeration\":" + jsonText(argument.values->name);
  return out + '}';
}

std::string memberJson(const Member &member) {
  std::string out = formatText("{\"id\":%d,\"name\":", member.id) + jsonText(member.name) +
                    ",\"kind\":\"" + kindName(member.kind) + "\"";
  if (member.kind != Member::Kind::Event)
    out += std::string(",\"type\":\"") + toText(member.type) + '"';
  if (member.kind == Member::Kind::Property)
    out += std::string(",\"access\":\"") + (member.set != nullptr ? "read-write" : "read") + '"';
  if (member.persisted)
    out += ",\"default\":" + valueJson(*member.persisted);
  if (!member.unit.empty())
    out += ",\"unit\":" + jsonText(member.unit);
  if (member.range)
    out += ",\"minimum\":" + std::to_string(member.range->minimum) +
           ",\"maximum\":" + std::to_string(member.range->maximum) +
           ",\"enforced\":" + (member.range->enforced ? "true" : "false");
  if (member.values != nullptr)
    out += ",\"enumeration\":" + jsonText(member.values->name);
  out += ",\"arguments\":[";
  for (const Argument &argument : member.arguments)
    out += (out.back() == '[' ? "" : ",") + argumentJson(argument);
  return out + "],\"help\":" + jsonText(member.help) + '}';
}

std::string controlJson(const MemberTable &table) {
  std::string out = "{\"name\":" + jsonText(table.controlName) +
                    ",\"class\":" + jsonText(table.className) +
                    ",\"programmatic_name\":" + jsonText("VELTO." + table.controlName + "Ctrl.1") +
                    ",\"page\":" + jsonText("VELTO." + table.controlName + "PropPage.1") +
                    ",\"help\":" + jsonText(table.help) + ",\"members\":[";
  for (const Member &member : table.members)
    out += (out.back() == '[' ? "" : ",") + memberJson(member);
  return out + "]}";
}

std::string enumerationJson(const Enumeration &enumeration) {
  std::string out = "{\"name\":" + jsonText(enumeration.name) +
                    ",\"help\":" + jsonText(enumeration.help) +
                    ",\"flags\":" + (enumeration.flags ? "true" : "false") + ",\"values\":[";
  for (const EnumerationValue &value : enumeration.values)
    out += std::string(out.back() == '[' ? "" : ",") +
           "{\"value\":" + std::to_string(value.number) + ",\"name\":" + jsonText(value.name) +
           ",\"help\":" + jsonText(value.help) + '}';
  return out + "]}";
}

std::string libraryJson() {
  const std::vector<const MemberTable *> tables = controlTables();
  std::string out = "{\"version\":" + jsonText(kVersion) + ",\"controls\":[";
  for (const MemberTable *table : tables)
    out += (out.back() == '[' ? "" : ",") + controlJson(*table);
  out += "],\"enumerations\":[";
  for (const Enumeration *enumeration : enumerationsOf(tables))
    out += (out.back() == '[' ? "" : ",") + enumerationJson(*enumeration);
  return out + "]}";
}

} // namespace

const char *velto_type_library(void) {
  const char *library = "";
  guarded([&library] {
    static const std::string text = libraryJson();
    library = text.c_str();
    return VELTO_OK;
  });
  return library;
}

uint32_t velto_version(void) {
  uint32_t parts = 0;
  uint32_t part = 0;
  for (const char *at = kVersion;; ++at) {
    if (*at >= '0' && *at <= '9') {
      part = part * 10 + static_cast<uint32_t>(*at - '0');
      continue;
    }
    parts = parts << 8 | part;
    part = 0;
    if (*at == '\0')
      return parts;
  }
}
