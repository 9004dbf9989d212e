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

std::string memberJson(const Member &member) {
  std::string out = formatText("{\"id\":%d,\"name\":", member.id) + jsonText(member.name) +
                    ",\"kind\":\"" + kindName(member.kind) + "\"";
  if (member.kind != Member::Kind::Event)
    out += std::string(",\"type\":\"") + toText(member.type) + '"';
  if (member.kind == Member::Kind::Property)
    out += std::string(",\"access\":\"") + (member.set != nullptr ? "read-write" : "read") + '"';
  if (member.persisted)
    out += ",\"default\":" + valueJson(*member.persisted);
  out += ",\"arguments\":[";
  for (const Argument &argument : member.arguments)
    out += (out.back() == '[' ? "{\"name\":" : ",{\"name\":") + jsonText(argument.name) +
           ",\"type\":\"" + toText(argument.type) + "\"}";
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

std::string libraryJson() {
  std::string out = "{\"version\":" + jsonText(kVersion) + ",\"controls\":[";
  for (const MemberTable *table : controlTables())
    out += (out.back() == '[' ? "" : ",") + controlJson(*table);
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
