#include "controls/log_ctrl.h"

#include "base/date_time.h"
#include "base/text.h"
#include "controls/shared_members.h"
#include "transport/log/log_file.h"

#include <algorithm>
#include <array>
#include <limits>

namespace velto {

namespace {

constexpr int64_t kMinInt32 = std::numeric_limits<int32_t>::min();

constexpr std::string_view kSeparator = "  |  ";
constexpr int32_t kNormal = 400;
constexpr int32_t kBold = 700;

// A process without windows has no font of its own to start with.
constexpr const char *kFontFace = "Tahoma";
constexpr int32_t kFontHeight = -12;

constexpr int16_t kNamedMonth = 3;
constexpr int16_t kBackups = 10;

constexpr LogTexts kLogTexts{.log = "Copies what is traced into the log file.",
                             .fileName =
                                 "Path of the log without its ending \".log\"; empty: none."};

/// The names are written out, other than those of CJTime.
std::string namedMonthDate(const LocalTime &time) {
  static constexpr std::array kMonths{"January",   "February", "March",    "April",
                                      "May",       "June",     "July",     "August",
                                      "September", "October",  "November", "December"};
  const char *month =
      time.month >= 1 && time.month <= kMonths.size() ? kMonths[time.month - 1U] : "???";
  return formatText("%s, %s, %04u", month, ordinalDay(time.day).c_str(), unsigned{time.year});
}

std::string dateText(const CJTime &now, int16_t format) {
  static constexpr std::array<int, kNamedMonth> kStyles{0, 5, 6};
  return format == kNamedMonth ? namedMonthDate(now.time())
                               : now.DateText(kStyles[static_cast<size_t>(format)]);
}

} // namespace

const MemberTable &CVeltoLogCtrl::table() {
  using C = CVeltoLogCtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoLog", "CVeltoLogCtrl",
                       "A scrolling list of lines with date and time, copied into a log file.")
          .iniFileName(1)
          .iniSection(2)
          .log(3, kLogTexts)
          .logFileName(4, kLogTexts)
          .logBakCount(5, kLogTexts, kBackups)
          .logSize(6)
          .property<&C::Date, &C::SetDate>(7, "Date", "Puts the date in front of each line.", false)
          .property<&C::Time, &C::SetTime>(
              8, "Time", "Puts the time, with milliseconds, in front of each line.", false)
          .property<&C::FontFaceName, &C::SetFontFaceName>(9, "FontFaceName", "Font of the window.",
                                                           kFontFace)
          .property<&C::FontSize, &C::SetFontSize>(
              10, "FontSize", "Height of the font; negative: of its characters alone.", kFontHeight)
          .unit("px")
          .property<&C::FontBold, &C::SetFontBold>(11, "FontBold", "Weight 700 instead of 400.",
                                                   false)
          .property<&C::FontItalic, &C::SetFontItalic>(12, "FontItalic", "Slanted font.", false)
          .property<&C::LineMax, &C::SetLineMax>(
              13, "LineMax", "Most lines kept; a value below 1 is ignored.", 5000)
          .range(1, kMaxInt16)
          .property<&C::SelectedLine, &C::SetSelectedLine>(
              14, "SelectedLine",
              "Index of the selected line; -1: the list is empty. Setting a negative value selects "
              "the last line, one beyond it is ignored.")
          .property<&C::LastLine, &C::SetLastLine>(
              15, "LastLine", "Always selects the newest line after a trace.", false)
          .property<&C::DateFormat, &C::SetDateFormat>(
              16, "DateFormat", "How the date is written; any other value becomes 0.", kNamedMonth)
          .of(enumerations::dateFormats())
          .loadIniFile(17)
          .setup(18)
          .method<&C::Trace>(19, "Trace", {"lpszText"}, "Adds one line per line of the text.")
          .method<&C::Clear>(20, "Clear", {}, "Empties the list.")
          .build();
  return table;
}

// Whether lines go into the file is the host's to say; how they do, the operator's.
std::span<const char *const> CVeltoLogCtrl::iniKeys() const {
  static constexpr std::array kKeys{"LogFileName",  "LogBakCount", "LogSize",  "Date",
                                    "DateFormat",   "Time",        "LineMax",  "LastLine",
                                    "FontFaceName", "FontSize",    "FontBold", "FontItalic"};
  return kKeys;
}

std::span<const IniControl::Page> CVeltoLogCtrl::pages() const {
  static const std::array kPages{Page{"Lines",
                                      {{"Date", "Date"},
                                       {"DateFormat", "Date Format", 0, kNamedMonth},
                                       {"Time", "Time"},
                                       {"LineMax", "Most Lines", 1, kMaxInt16},
                                       {"LastLine", "Select Last Line"}}},
                                 Page{"Font",
                                      {{"FontFaceName", "Face Name"},
                                       {"FontSize", "Size", kMinInt32, kMaxInt32},
                                       {"FontBold", "Bold"},
                                       {"FontItalic", "Italic"}}},
                                 Page{"Log", logFields({})}};
  return kPages;
}

// A file without a font asks for the default one; any other setting that it lacks stays.
Variant CVeltoLogCtrl::missingSetting(const char *name) {
  const bool font = std::string_view(name).starts_with("Font");
  return font ? *members().find(name, Member::Kind::Property)->persisted : setting(name);
}

CVeltoLogCtrl::CVeltoLogCtrl(const ControlSite &site)
    : IniControl(site, "VeltoLog"), LogProperties(kBackups) {
  view_.font = {kFontFace, kFontHeight, kNormal, false};
}

void CVeltoLogCtrl::SetDateFormat(int16_t format) {
  change(dateFormat_, format >= 0 && format <= kNamedMonth ? format : int16_t{0});
}

bool CVeltoLogCtrl::FontBold() const { return view_.font.weight != kNormal; }

void CVeltoLogCtrl::SetFontBold(bool bold) { change(view_.font.weight, bold ? kBold : kNormal); }

void CVeltoLogCtrl::SetLineMax(int16_t count) {
  if (count >= 1)
    change(lineMax_, count);
}

void CVeltoLogCtrl::SetSelectedLine(int16_t line) {
  if (line > lastIndex())
    return;
  view_.selected = line < 0 ? lastIndex() : line;
  viewChanged();
}

void CVeltoLogCtrl::Clear() {
  view_.lines.clear();
  view_.selected = -1;
  viewChanged();
}

// The text may be a line of this list, so nothing leaves the list before the text was used.
void CVeltoLogCtrl::Trace(const std::string &text) {
  if (text.empty())
    return;
  const bool follow = lastLine_ || view_.selected == lastIndex();
  const std::string when = stamp();
  const int64_t left = addLines(text, when);
  if (Log() && !LogFileName().empty())
    writeRecord(text, when);
  const int64_t surplus = std::max(lastIndex() + 1 - lineMax_, int64_t{0});
  view_.lines.erase(view_.lines.begin(), view_.lines.begin() + surplus);
  view_.selected = follow ? lastIndex() : std::max(view_.selected - left - surplus, int64_t{0});
  viewChanged();
}

/// What stands in front of a line, without the separator; empty when neither date nor time is
/// wanted.
std::string CVeltoLogCtrl::stamp() const {
  if (!date_ && !time_)
    return "";
  const CJTime now(site().loop.clock().localTime());
  std::string text = date_ ? dateText(now, dateFormat_) : "";
  if (date_ && time_)
    text += ' ';
  return time_ ? text + now.TimeText(0) : text;
}

/// Adds the lines of a text, at most as many as the list may hold; the number of those that came
/// before and were left out.
int64_t CVeltoLogCtrl::addLines(std::string_view text, const std::string &stamp) {
  const auto count = std::count(text.begin(), text.end(), '\n') + 1;
  const int64_t left = std::max(count - lineMax_, int64_t{0});
  for (int64_t i = 0; i < left; ++i)
    text.remove_prefix(text.find('\n') + 1);
  for (int64_t i = left; i < count; ++i) {
    const std::string_view piece = text.substr(0, text.find('\n'));
    std::string &line = view_.lines.emplace_back();
    line.reserve(stamp.size() + kSeparator.size() + piece.size());
    if (!stamp.empty())
      line.append(stamp).append(kSeparator);
    line.append(piece);
    std::erase(line, '\r');
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
  }
  return left;
}

// A record with a stamp takes lines of its own. One without is the bare text, so that the host may
// write a line in pieces.
void CVeltoLogCtrl::writeRecord(const std::string &text, const std::string &stamp) const {
  CHLogFile file(LogFileName(), static_cast<uint32_t>(LogSize()), LogBakCount(),
                 site().loop.clock(), site().files);
  file.SetEnabled(true);
  file.Append(stamp.empty() ? text : stamp + "\r\n" + text + "\r\n");
}

} // namespace velto
