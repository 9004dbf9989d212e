#pragma once

#include "controls/gem_pair.h"

#include <deque>

namespace velto {

/// An operator of setup sheets. What he sees is kept as lines; what he does is a function for the
/// sheet and a list of values for each dialog, which end with its OK.
class SetupOperator final : public FrontEnd {
public:
  using Values = std::vector<std::pair<std::string, std::string>>;

  void messageBox(const std::string &text) override { seen.push_back("box: " + text); }
  bool showBox(const MessageBox &box) override {
    seen.push_back((box.icon == MessageBox::Icon::Stop       ? "stop "
                    : box.icon == MessageBox::Icon::Question ? "question "
                                                             : "") +
                   box.title + (box.cancel ? " (OK, Cancel): " : ": ") + box.text);
    if (onBox)
      onBox();
    return confirms;
  }
  bool showSheet(PropertySheet &sheet) override {
    if (!sheet.isDialog()) {
      seen.push_back("sheet: " + sheet.title);
      return (!onSheet || onSheet(sheet)) && sheet.accept(*this);
    }
    // A dialog that stays open is answered by the next values, and cancelled without any.
    seen.push_back("dialog: " + text(sheet.pages[0]));
    while (!dialogs.empty()) {
      for (const auto &[key, value] : dialogs.front())
        sheet.find(key)->value = value;
      dialogs.pop_front();
      if (sheet.accept(*this))
        return true;
    }
    return false;
  }

  /// The fields or the list of a page on one line.
  static std::string text(const PropertyPage &page) {
    std::string line;
    const auto append = [&line](const std::string &part) {
      line += (line.empty() ? "" : "|") + part;
    };
    for (const Field &field : page.fields)
      append(field.kind == Field::Kind::Label ? field.label + " " + field.value
                                              : field.label + "=" + field.value);
    if (page.list) {
      for (const std::string &column : page.list->view.columns)
        append(column);
      for (const auto &row : page.list->view.rows) {
        line += " /";
        for (const std::string &cell : row)
          line += " " + cell;
      }
    }
    return line;
  }

  std::vector<std::string> take() { return std::exchange(seen, {}); }

  std::function<bool(PropertySheet &)> onSheet;
  std::function<void()> onBox;
  std::deque<Values> dialogs;
  bool confirms = true;
  std::vector<std::string> seen;
};

/// The small tool of GemStation with an operator, and a report that its event 7 carries.
class SetupPages : public testing::Test {
protected:
  SetupPages() {
    CHGemEventReport report;
    report.rptid = 1;
    report.variables = {2, 4};
    data().reports.Add(report);
    data().events.FindCeid(7)->reports = {1};
    EXPECT_TRUE(eq().SaveData());
    eq().save(); // no longer modified
  }

  CVeltoGemCtrl &eq() { return *station.control; }
  GemData &data() { return station.model().data(); }
  /// Opens the sheet with these pages; the operator does what `edit` says and presses OK.
  bool setup(int32_t options, std::function<void(PropertySheet &)> edit = nullptr) {
    front.onSheet = [edit = std::move(edit)](PropertySheet &sheet) {
      if (edit)
        edit(sheet);
      return true;
    };
    return eq().Setup("", options);
  }
  bool type(int32_t options, const std::string &key, const std::string &value) {
    return setup(options, [=](PropertySheet &sheet) { sheet.find(key)->value = value; });
  }
  /// The list of the sheet's only page.
  static PageList &list(PropertySheet &sheet) { return *sheet.pages.at(0).list; }
  std::string file(const char *extension) {
    return systemFiles().read(folder / ("tool" + std::string(extension))).value_or("missing");
  }

  ManualClock clock;
  EventLoop loop{clock};
  SetupOperator front;
  TemporaryDirectory folder;
  UnflushedFiles files;
  GemStation station{ControlSite(loop, front, files), folder / "tool"};
};

/// The pages by their bits.
enum SetupBit : int32_t {
  ModelPage = 0x001,
  HsmsPage = 0x002,
  CapabilityPage = 0x10000,
  TimeoutPage = 0x004,
  RevisionPage = 0x008,
  StatePage = 0x010,
  ClockPage = 0x020,
  EventPage = 0x040,
  VariablePage = 0x080,
  AlarmPage = 0x100,
  LogPage = 0x200,
  VariableRolePage = 0x400,
  EventRolePage = 0x800,
};

} // namespace velto
