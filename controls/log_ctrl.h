#pragma once

#include "controls/component/ini_control.h"
#include "controls/log_properties.h"

#include <string_view>

namespace velto {

/// `VeltoLog`: a scrolling list of lines, with date and time in front if wanted, and a copy of it
/// in a log file, unless that has no name. It raises no events.
///
/// A list that has lines has one of them selected: the window scrolls to it. A selection on the
/// last line follows the newest one; a selection further up stays with its line as long as that is
/// in the list.
class CVeltoLogCtrl final : public IniControl, public LogProperties {
public:
  explicit CVeltoLogCtrl(const ControlSite &site);

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  bool Date() const { return date_; }
  void SetDate(bool shown) { change(date_, shown); }
  bool Time() const { return time_; }
  void SetTime(bool shown) { change(time_, shown); }
  /// 0 "2026/11/16", 1 "11/16/2026", 2 "16/11/2026", 3 "November, 16th, 2026"; a value beyond
  /// these is taken as 0. No form depends on the locale.
  int16_t DateFormat() const { return dateFormat_; }
  void SetDateFormat(int16_t format);

  std::string FontFaceName() const { return view_.font.face; }
  void SetFontFaceName(const std::string &face) { change(view_.font.face, face); }
  int32_t FontSize() const { return view_.font.height; }
  void SetFontSize(int32_t height) { change(view_.font.height, height); }
  bool FontBold() const;
  void SetFontBold(bool bold);
  bool FontItalic() const { return view_.font.italic; }
  void SetFontItalic(bool italic) { change(view_.font.italic, italic); }

  /// The most lines kept, 1 to 32,767; a value below 1 is ignored. A list that is longer loses its
  /// first lines with the next Trace.
  int16_t LineMax() const { return lineMax_; }
  void SetLineMax(int16_t count);
  /// Index of the selected line; -1 while the list is empty. A negative value selects the last
  /// line, one beyond the last line is ignored.
  int16_t SelectedLine() const { return static_cast<int16_t>(view_.selected); }
  void SetSelectedLine(int16_t line);
  /// Every Trace selects the newest line.
  bool LastLine() const { return lastLine_; }
  void SetLastLine(bool always) { change(lastLine_, always); }

  /// Adds one line per line of the text, which may hold any bytes; carriage returns are dropped. A
  /// line feed at the end makes an empty last line; an empty text adds nothing.
  void Trace(const std::string &text);
  /// Empties the list; the file stays.
  void Clear();

  /// What the window shows. Taking it costs nothing: the list is not copied.
  const LineView &view() const { return view_; }
  std::string window() const override { return toText(view_); }

private:
  template <typename T> void change(T &field, const T &value) {
    field = value;
    setModified();
  }
  int64_t lastIndex() const { return static_cast<int64_t>(view_.lines.size()) - 1; }
  std::string stamp() const;
  int64_t addLines(std::string_view text, const std::string &stamp);
  void writeRecord(const std::string &text, const std::string &stamp) const;

  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
  Variant missingSetting(const char *name) override;
  void logChanged() override { setModified(); }

  LineView view_;
  int16_t lineMax_ = 5000;
  bool lastLine_ = false;
  bool date_ = false;
  bool time_ = false;
  int16_t dateFormat_ = 3;
};

} // namespace velto
