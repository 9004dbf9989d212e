#pragma once

#include "controls/component/control.h"

#include <map>
#include <string>

namespace velto {

/// A control with a member of each sort.
class CSampleCtrl final : public Control {
public:
  explicit CSampleCtrl(const ControlSite &site)
      : Control(site), timer_(site.loop, [this] { Raise(later_); }) {}

  const MemberTable &members() const override;
  std::string window() const override { return title_.empty() ? "" : "Sample " + title_ + '\n'; }

  int32_t Count() const { return count_; }
  void SetCount(int32_t value) {
    count_ = value;
    setModified();
  }
  int16_t Level() const { return level_; }
  void SetLevel(int16_t value) { level_ = value; }
  double Ratio() const { return ratio_; }
  void SetRatio(double value) { ratio_ = value; }
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool value) { enabled_ = value; }
  const std::string &Title() const { return title_; }
  void SetTitle(const std::string &value) { title_ = value; }
  int32_t Size() const { return static_cast<int32_t>(slots_.size()); }
  std::string Slot(int32_t index) const {
    const auto found = slots_.find(index);
    return found == slots_.end() ? "" : found->second;
  }
  void SetSlot(int32_t index, const std::string &value) { slots_[index] = value; }

  int32_t Add(int32_t a, int32_t b) { return a + b; }
  void Raise(const std::string &text) { onChanged.raise(text, count_); }
  void Later(int32_t milliseconds, const std::string &text) {
    later_ = text;
    timer_.start(static_cast<uint32_t>(milliseconds));
  }
  void Tell(const std::string &text) { site().frontEnd.messageBox(text); }
  bool Setup() {
    PropertySheet sheet;
    sheet.title = "Sample Setup";
    sheet.pages.resize(2);
    sheet.pages[0].title = "General";
    sheet.pages[0].integer("Count", "Number of items", count_, 0, 100);
    sheet.pages[0].check("Enabled", "In use", enabled_);
    sheet.pages[1].title = "Names";
    sheet.pages[1].text("Title", "Title", title_);
    if (!site().frontEnd.showSheet(sheet))
      return false;
    SetCount(static_cast<int32_t>(sheet.integer("Count")));
    SetEnabled(sheet.checked("Enabled"));
    SetTitle(sheet.value("Title"));
    return true;
  }

  Event<std::string, int32_t> onChanged{*this, 1};
  Event<> onIdle{*this, 2};

private:
  int32_t count_ = 3;
  int16_t level_ = 1;
  double ratio_ = 0.5;
  bool enabled_ = true;
  std::string title_ = "none";
  std::map<int32_t, std::string> slots_;
  std::string later_;
  Timer timer_;
};

inline const MemberTable &CSampleCtrl::members() const {
  using C = CSampleCtrl;
  static const Enumeration levels{
      "SampleLevel", "How full.", {{0, "Empty", "Nothing."}, {1, "Some", "A bit | more."}}, true};
  static const MemberTable table =
      Members<C>("Sample", "CSampleCtrl", "A control to try things with.")
          .property<&C::Count, &C::SetCount>(1, "Count", "Number of items.", 3)
          .sensible(0, 100)
          .property<&C::Level, &C::SetLevel>(2, "Level", "Fill level.", 1)
          .unit("mm")
          .of(levels)
          .property<&C::Ratio, &C::SetRatio>(3, "Ratio", "Share in use.", 0.5)
          .property<&C::Enabled, &C::SetEnabled>(4, "Enabled", "In use.", true)
          .property<&C::Title, &C::SetTitle>(5, "Title", "What it is called.", "none")
          .readOnly<&C::Size>(6, "Size", "Number of filled slots.")
          .indexed<&C::Slot, &C::SetSlot>(7, "Slot", {"lIndex"}, "Text of a slot | by index.")
          .method<&C::Add>(10, "Add", {"lA", "lB"}, "The sum.")
          .method<&C::Raise>(11, "Raise", {"lpszText"}, "Raises Changed.")
          .method<&C::Later>(12, "Later", {"lMilliseconds", "lpszText"}, "Raises it later.")
          .method<&C::Tell>(13, "Tell", {"lpszText"}, "Shows a box.")
          .method<&C::Setup>(14, "Setup", {}, "Shows the setup sheet.")
          .event<std::string, int32_t>(1, "Changed", {"lpszText", "lCount"}, "Something changed.")
          .of("lCount", levels)
          .event<>(2, "Idle", {}, "Nothing to do.")
          .build();
  return table;
}

} // namespace velto
