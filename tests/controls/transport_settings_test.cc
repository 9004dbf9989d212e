// The settings of the controls on lines and connections: INI file, sheet, property bag.
#include "controls/component/ini_control.h"
#include "controls/registry.h"
#include "support/operator.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>
#include <sstream>

namespace velto {
namespace {

using Settings = std::vector<std::pair<std::string, std::string>>;

// What the sheet of a control shows, flags as the INI file has them. The operator cancels.
Settings shown(IniControl &control, Operator &front, const Settings &keys) {
  Settings settings;
  front.answer = [&](PropertySheet &sheet) {
    for (const auto &[key, value] : keys) {
      const std::string text = sheet.find(key) == nullptr ? "no field" : sheet.value(key);
      settings.emplace_back(key, text == "true" ? "1" : text == "false" ? "0" : text);
    }
    return false;
  };
  EXPECT_FALSE(control.Setup(""));
  return settings;
}

TEST(TransportControls, KeepTheirSettingsInSheetFileAndBag) {
  const struct {
    const char *control;
    const char *settings; // in the order of the file
  } rows[] = {
      {"VeltoSecsI",
       "PortNumber=4 BaudRate=19200 T1=11 T2=12 T3=13 T4=14 Retry=5 Master=0 Log=1 "
       "LogVerbose=1 LogFileName=./line DeviceID=291 LogSize=77 LogBakCount=8 MSEC=1"},
      {"VeltoSecsISocket",
       "PortNumber=4 MyPortNumber=5001 IPAddress=10.0.0.7 Server=1 OneOnOne=0 T1=11 T2=12 T3=13 "
       "T4=14 Retry=5 Master=0 MSEC=1 DeviceID=291 Log=1 LogVerbose=1 LogFileName=./line "
       "LogSize=77 LogBakCount=8"},
      {"VeltoSocket", "PortNumber=4 MyPortNumber=5001 IPAddress=10.0.0.7 Server=1"},
      {"VeltoComm", "PortNumber=40 BaudRate=19200 ByteSize=7 Parity=2 StopBit=2"},
  };
  const TemporaryDirectory folder;
  EventLoop loop;
  for (const auto &row : rows) {
    SCOPED_TRACE(row.control);
    Operator front;
    const auto make = [&] {
      auto made = createControl(row.control, ControlSite(loop, front));
      auto &control = static_cast<IniControl &>(*made);
      control.SetIniFileName(folder / (std::string(row.control) + ".ini"));
      control.SetIniSection("Line");
      return std::unique_ptr<IniControl>(static_cast<IniControl *>(made.release()));
    };
    const auto control = make();
    Settings settings;
    std::string file = "[Line]\n";
    std::istringstream words(row.settings);
    for (std::string word; words >> word; file += word + "\n")
      settings.emplace_back(word.substr(0, word.find('=')), word.substr(word.find('=') + 1));

    front.answer = [&](PropertySheet &sheet) {
      for (const auto &[key, value] : settings) {
        Field &field = *sheet.find(key);
        const bool check = field.kind == Field::Kind::Check;
        field.value = !check ? value : value == "1" ? "true" : "false";
      }
      return true;
    };
    EXPECT_TRUE(control->Setup(""));
    EXPECT_EQ(systemFiles().read(control->IniFileName()), file);
    const auto loaded = make();
    EXPECT_TRUE(loaded->LoadIniFile());
    EXPECT_EQ(shown(*loaded, front, settings), settings);

    const PropertyBag bag = *PropertyBag::parse(loaded->save().text());
    const auto copy = make();
    copy->load(bag);
    Settings persisted = settings;
    for (auto &[key, value] : persisted)
      if (key == "OneOnOne")
        value = "1";
    EXPECT_EQ(shown(*copy, front, settings), persisted);
    copy->load({});
    EXPECT_EQ(shown(*copy, front, settings), shown(*make(), front, settings));

    front.answer = [](PropertySheet &) { return true; };
    control->SetIniFileName(folder / "missing/velto.ini");
    EXPECT_FALSE(control->Setup("Mine")) << "cannot be written";
    control->SetIniSection("");
    EXPECT_FALSE(control->Setup("")) << "nowhere to write";
    EXPECT_FALSE(control->LoadIniFile());
    EXPECT_EQ(front.titles.front(), std::string(row.control) + " - Line");
    EXPECT_EQ(front.titles[front.titles.size() - 2], "Mine");
    EXPECT_EQ(front.titles.back(), std::string(row.control) + " Setup");
  }
}

} // namespace
} // namespace velto
