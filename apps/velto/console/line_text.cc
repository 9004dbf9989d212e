#include "apps/velto/console/line_text.h"

#include "apps/velto/console/literal.h"
#include "base/date_time.h"
#include "base/text.h"

namespace velto {

namespace {

constexpr size_t kTextColumn = 14; // where the text behind the time begins

} // namespace

std::string timeStamp(const LocalTime &time) { return CJTime(time).TimeText(0) + "  "; }

std::string isoTime(const LocalTime &time) {
  return formatText("%04u-%02u-%02uT%02u:%02u:%02u.%03u", time.year, time.month, time.day,
                    time.hour, time.minute, time.second, time.milliseconds);
}

std::string indented(std::string_view lines) {
  const std::string lineEnd = '\n' + std::string(kTextColumn, ' ');
  const std::string remark = lineEnd + "* cut short";
  std::string out;
  for (const char c : lines) {
    if (c != '\n') {
      out += c;
      continue;
    }
    if (out.size() + remark.size() > kMostOnScreen)
      return out.substr(0, kMostOnScreen - remark.size()) + remark;
    out += lineEnd;
  }
  return out;
}

} // namespace velto
