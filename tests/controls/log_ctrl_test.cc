#include "controls/log_ctrl.h"

#include "support/operator.h"
#include "support/table.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;

class LogControl : public testing::Test {
protected:
  /// Traces a, b, c… of as many lines.
  void fill(int count) {
    for (int i = 0; i < count; ++i)
      log.Trace(std::string(1, static_cast<char>('a' + i)));
  }
  std::string file(const std::string &name) {
    return systemFiles().read(directory / name).value_or("none");
  }

  ManualClock clock;
  EventLoop loop{clock};
  TemporaryDirectory directory;
  CVeltoLogCtrl log{loop};
};

TEST_F(LogControl, PutsDateAndTimeInFront) {
  const struct {
    LocalTime now;
    bool date;
    bool time;
    int16_t format;
    const char *line;
  } rows[] = {
      {{2026, 11, 0, 16, 9, 8, 7, 6}, false, false, 3, "x"},
      {{2026, 11, 0, 16, 9, 8, 7, 6}, false, true, 3, "09:08:07.006  |  x"},
      {{2026, 11, 0, 16, 9, 8, 7, 6}, true, true, 0, "2026/11/16 09:08:07.006  |  x"},
      {{2026, 11, 0, 16, 9, 8, 7, 6}, true, false, 1, "11/16/2026  |  x"},
      {{2026, 11, 0, 16, 9, 8, 7, 6}, true, false, 2, "16/11/2026  |  x"},
      {{2026, 1, 0, 1}, true, false, 3, "January, 1st, 2026  |  x"},
      {{2026, 2, 0, 2}, true, false, 3, "February, 2nd, 2026  |  x"},
      {{2026, 3, 0, 3}, true, false, 3, "March, 3rd, 2026  |  x"},
      {{2026, 4, 0, 4}, true, false, 3, "April, 4th, 2026  |  x"},
      {{2026, 5, 0, 11}, true, false, 3, "May, 11th, 2026  |  x"},
      {{2026, 6, 0, 12}, true, false, 3, "June, 12th, 2026  |  x"},
      {{2026, 7, 0, 13}, true, false, 3, "July, 13th, 2026  |  x"},
      {{2026, 8, 0, 21}, true, false, 3, "August, 21st, 2026  |  x"},
      {{2026, 9, 0, 22}, true, false, 3, "September, 22nd, 2026  |  x"},
      {{2026, 10, 0, 23}, true, false, 3, "October, 23rd, 2026  |  x"},
      {{2026, 12, 0, 31}, true, true, 3, "December, 31st, 2026 00:00:00.000  |  x"},
      {{2026, 11, 0, 16}, true, false, 4, "2026/11/16  |  x"},
      {{2026, 11, 0, 16}, true, false, -1, "2026/11/16  |  x"},
  };
  for (const auto &row : rows) {
    clock.setLocalTime(row.now);
    log.SetDate(row.date);
    log.SetTime(row.time);
    log.SetDateFormat(row.format);
    log.Trace("x");
    EXPECT_EQ(log.view().lines.back(), row.line);
  }
}

TEST_F(LogControl, SplitsTextsIntoLines) {
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } rows[] = {
      {"", {}},
      {"a\r\nb", {"a", "b"}},
      {"a\n", {"a", ""}},
      {"\n", {"", ""}},
      {"\r", {""}},
      {"a\r\r\nb\rc\n\nd", {"a", "bc", "", "d"}},
      {std::string("\0\xff\t\x1b", 4), {std::string("\0\xff\t\x1b", 4)}},
  };
  for (const auto &row : rows) {
    log.Clear();
    log.Trace(row.text);
    EXPECT_THAT(log.view().lines, testing::ElementsAreArray(row.lines)) << row.text;
  }
  log.SetTime(true);
  log.Clear();
  log.Trace("a\n");
  EXPECT_EQ(log.window(), "00:00:00.000  |  a\n00:00:00.000  |  \n");
}

TEST_F(LogControl, KeepsTheSelectedLineOrFollowsTheNewest) {
  for (const TableRow &row : tableOf("controls/log_selection.txt", "selection")) {
    log.Clear();
    log.SetLastLine(false);
    log.SetLineMax(100);
    fill(row.number(1));
    log.SetSelectedLine(static_cast<int16_t>(row.number(2)));
    log.SetLastLine(row[3] == "follows");
    log.SetLineMax(static_cast<int16_t>(row.number(4)));
    log.Trace(row[5]);
    std::string lines;
    for (const std::string &line : log.view().lines)
      lines += (lines.empty() ? "" : " ") + line;
    EXPECT_EQ(lines, row[7]) << row[0];
    EXPECT_EQ(log.SelectedLine(), row.number(6)) << row[0];
  }
}

TEST_F(LogControl, AFloodOfLinesStaysWithinTheLimit) {
  log.SetLineMax(32767);
  log.Trace(std::string(200'000, '\n') + "end");
  EXPECT_EQ(log.view().lines.size(), 32767U);
  for (int i = 0; i < 40'000; ++i)
    log.Trace(std::to_string(i));
  EXPECT_EQ(log.view().lines.size(), 32767U);
  EXPECT_EQ(log.view().lines.front(), "7233");
  EXPECT_EQ(log.SelectedLine(), 32766);
}

TEST_F(LogControl, MayTraceALineOfItsOwn) {
  log.SetLogFileName(directory / "trace");
  log.SetLog(true);
  log.SetLineMax(1);
  const std::string text(100, 'x');
  log.Trace(text);
  log.Trace(log.view().lines.front());
  EXPECT_THAT(log.view().lines, ElementsAre(text));
  EXPECT_EQ(file("trace.log"), text + text);
}

TEST_F(LogControl, KeepsTenBackups) {
  log.SetLogFileName(directory / "trace");
  log.SetLogSize(1);
  log.SetLog(true);
  for (int i = 0; i < 13; ++i)
    log.Trace(std::string(1024, static_cast<char>('a' + i)));
  EXPECT_EQ(file("trace.log").substr(0, 1), "m");
  EXPECT_EQ(file("trace001.log").substr(0, 1), "l");
  EXPECT_EQ(file("trace010.log").substr(0, 1), "c");
  EXPECT_EQ(file("trace011.log"), "none");
}

TEST_F(LogControl, ReadsItsSettingsFromTheIniFile) {
  log.SetIniFileName(directory / "velto.ini");
  log.SetLineMax(77);
  log.SetFontFaceName("Courier");
  log.SetFontSize(20);
  log.SetFontBold(true);
  log.SetFontItalic(true);
  log.SetLog(true);
  EXPECT_TRUE(log.LoadIniFile()) << "a missing file";
  EXPECT_EQ(log.LineMax(), 77) << "a missing key leaves the property";
  EXPECT_EQ(log.view().font, (Font{"Tahoma", -12, 400, false})) << "but for the font";

  systemFiles().write(directory / "velto.ini",
                      "[VeltoLog]\nLogFileName=./trace\nLogBakCount=3\nLogSize=16\nDate=1\n"
                      "DateFormat=2\nTime=1\nLineMax=0\nLastLine=1\nFontFaceName=Courier\n"
                      "FontSize=-20\nFontBold=1\nFontItalic=1\nLog=0\n");
  EXPECT_TRUE(log.LoadIniFile());
  EXPECT_EQ(log.LogFileName(), "./trace");
  EXPECT_EQ(log.LogBakCount(), 3);
  EXPECT_EQ(log.LogSize(), 16);
  EXPECT_TRUE(log.Date());
  EXPECT_EQ(log.DateFormat(), 2);
  EXPECT_TRUE(log.Time());
  EXPECT_EQ(log.LineMax(), 77) << "0 is none";
  EXPECT_TRUE(log.LastLine());
  EXPECT_EQ(log.view().font, (Font{"Courier", -20, 700, true}));
  EXPECT_TRUE(log.Log()) << "no key of the file";
  log.SetIniSection("");
  EXPECT_FALSE(log.LoadIniFile());
}

TEST_F(LogControl, SetupStoresItsSheetInTheIniFile) {
  Operator front;
  CVeltoLogCtrl control(ControlSite(loop, front));
  control.SetIniFileName(directory / "velto.ini");
  EXPECT_FALSE(control.Setup("")) << "cancelled";
  EXPECT_EQ(file("velto.ini"), "none");
  front.answer = [](PropertySheet &sheet) {
    sheet.find("Date")->value = "true";
    sheet.find("DateFormat")->value = "1";
    sheet.find("FontSize")->value = "-16";
    sheet.find("FontBold")->value = "true";
    EXPECT_EQ(sheet.problem(), "");
    return true;
  };
  EXPECT_TRUE(control.Setup("Mine"));
  EXPECT_EQ(file("velto.ini"), "[VeltoLog]\nLogFileName=./Velto\nLogBakCount=10\nLogSize=1024\n"
                               "Date=1\nDateFormat=1\nTime=0\nLineMax=5000\nLastLine=0\n"
                               "FontFaceName=Tahoma\nFontSize=-16\nFontBold=1\nFontItalic=0\n");
  EXPECT_EQ(control.view().font, (Font{"Tahoma", -16, 700, false}));
  control.SetIniSection("");
  EXPECT_FALSE(control.Setup(""));
  EXPECT_THAT(front.titles, ElementsAre("VeltoLog - VeltoLog", "Mine", "VeltoLog Setup"));
}

TEST_F(LogControl, ABagKeepsAllButTheLines) {
  log.SetLineMax(12);
  log.SetDateFormat(9);
  log.SetFontFaceName("Courier");
  log.SetLog(true);
  log.SetLogFileName("");
  EXPECT_TRUE(log.modified());
  log.save();
  fill(3);
  log.SetSelectedLine(1);
  log.SetLineMax(0);
  EXPECT_FALSE(log.modified());
  CVeltoLogCtrl copy(loop);
  copy.load(*PropertyBag::parse(log.save().text()));
  EXPECT_EQ(copy.LineMax(), 12);
  EXPECT_EQ(copy.DateFormat(), 0);
  EXPECT_EQ(copy.FontFaceName(), "Courier");
  EXPECT_TRUE(copy.Log());
  EXPECT_EQ(copy.SelectedLine(), -1);
}

} // namespace
} // namespace velto
