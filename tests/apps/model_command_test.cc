// The equipment model as text: read, written, and what is said of a text that is no model.
#include "apps/cases.h"
#include "apps/velto/model/model_command.h"
#include "gem/data/data_file.h"
#include "gem/model_text/model_text.h"
#include "gem/models/control_model.h"
#include "secs2/message.h"
#include "support/temporary_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>

namespace velto {
namespace {

using testing::HasSubstr;

/// What is written to a stream while this object lives.
class Captured {
public:
  explicit Captured(std::ostream &stream) : stream_(stream), before_(stream.rdbuf(text_.rdbuf())) {}
  ~Captured() { stream_.rdbuf(before_); }
  std::string text() const { return text_.str(); }

private:
  std::ostringstream text_;
  std::ostream &stream_;
  std::streambuf *before_;
};

struct CommandRun {
  int status;
  std::string output;
  std::string errors;
};

CommandRun runModel(const CommandArguments &arguments) {
  const Captured output(std::cout);
  const Captured errors(std::cerr);
  const int status = runModelCommand(arguments);
  return {status, output.text(), errors.text()};
}

GemData read(const std::string &text) {
  ModelTextError error;
  auto data = modelFromText(text, error);
  EXPECT_TRUE(data) << error.line << ": " << error.reason;
  return data ? std::move(*data) : GemData{};
}

// Every field with a value that is not its default.
constexpr const char *kFull = R"([communication]
model_name="EQ \"1\"\\" software_revision="\x00\xff\r\n\t" initial_state=enabled establish_communications=no

[control]
initial_state=host-offline initial_offline_state=equipment-offline offline_state=equipment-offline online_state=local

[clock]
set_machine_clock=yes

[variables]
vid=0 kind=255 type=0 role=none min="" max="" default="" unit="" description="" value="no SML"
vid=5 kind=EC type=F8 role=TimeFormat min="-1.5" max="20" default="3" unit="Torr" description="Pressure # 1" value="<f8 3.000000>"
vid=4294967295 kind=DV type=A2 role=99 min="" max="" default="" unit="" description="" value="<a2'x'>"

[reports]
rptid=2 variables=none description=""
rptid=1 variables=5,5,4294967295 description="data"

[events]
ceid=7 role=OnlineToOffline enable=no reports=2,1 description="gone"

[alarms]
alid=1 category=personal-safety set=yes enable=no text="hot"
alid=2 category=100 set=no enable=yes text=""
)";

TEST(ModelText, SurvivesBothWays) {
  const GemData full = read(kFull);
  EXPECT_EQ(modelToText(full), kFull);
  EXPECT_EQ(full.communication.modelName, "EQ \"1\"\\");
  EXPECT_EQ(full.communication.softwareRevision, std::string("\0\xff\r\n\t", 5));
  EXPECT_FALSE(full.communication.establishCommunications);
  EXPECT_EQ(full.control.initialState, ControlState::HostOffline);
  EXPECT_TRUE(full.changePCClock);
  EXPECT_EQ(full.variables.at(1).role, RoleTimeFormat);
  EXPECT_EQ(full.variables.at(1).nodeType, SecsDouble);
  EXPECT_EQ(full.variables.at(1).description(), "Pressure # 1");
  EXPECT_EQ(full.reports.at(1).variables, (std::vector<uint32_t>{5, 5, 4294967295}));
  EXPECT_EQ(full.alarms.at(0).alcd, CHGemAlarmAlid::kSet | 1);
  EXPECT_EQ(storeGemData(read(modelToText(full))), storeGemData(full));

  const GemData empty;
  EXPECT_EQ(storeGemData(read("")), storeGemData(empty));
  EXPECT_EQ(storeGemData(read(modelToText(empty))), storeGemData(empty));
}

TEST(ModelText, IsEasyToWrite) {
  const GemData data = read("# a tool\r\n"
                            "  [alarms]   # sections in any order\r\n"
                            "text=hot   alid=2 # and fields\r\n"
                            "\t[reports]\n"
                            "rptid=3 variables=\"1, 2\"\n"
                            "rptid=1\n\n"
                            "[control]\n"
                            "initial_state=local\n"
                            "online_state=3\n"
                            "[alarms]\n"
                            "alid=1 category=5 set=yes");
  ASSERT_EQ(data.alarms.Count(), 2U);
  EXPECT_EQ(data.alarms.at(0), (CHGemAlarmAlid{1, CHGemAlarmAlid::kSet | 5, "", true}));
  EXPECT_EQ(data.alarms.at(1), (CHGemAlarmAlid{2, 0, "hot", true}));
  EXPECT_EQ(data.reports.at(0), (CHGemEventReport{3, "", {1, 2}}));
  EXPECT_EQ(data.reports.at(1), (CHGemEventReport{1, "", {}}));
  EXPECT_EQ(data.control.initialState, ControlState::OnlineLocal);
  EXPECT_EQ(data.control.onlineState, ControlState::OnlineLocal);
  EXPECT_EQ(data.control.initialOfflineState, ControlState::HostOffline);
}

TEST(ModelText, TakesManyLinesInAnyOrder) {
  std::string text = "[variables]\n";
  for (int vid = 100'000; vid > 0; --vid)
    text += "vid=" + std::to_string(vid) + "\n[variables]\n";
  const GemData data = read(text);
  ASSERT_EQ(data.variables.Count(), 100'000U);
  EXPECT_EQ(data.variables.numberAt(0), 1);
  EXPECT_NE(data.variables.FindVid(77'777), nullptr);
}

TEST(ModelText, GivesVariablesTheirDefault) {
  const struct {
    const char *line;
    const char *value;
  } rows[] = {
      {"vid=1", "<u4 0>"},
      {"vid=1 type=A", "<a''>"},
      {"vid=1 type=L", "{ }"},
      {"vid=1 type=F4", "<f4 0>"},
      {"vid=1 type=BOOLEAN", "<bool 0>"},
      {"vid=1 default=5 type=U1", "<u1 5>"},
      {"vid=1 type=A default=\"it's\"", "<a'it' 0x27 's'>"},
      {"vid=1 type=U1 default=5 value=\"<u1 7>\"", "<u1 7>"},
      {"vid=1 type=U1 default=5 value=\"\"", ""},
  };
  for (const auto &row : rows) {
    const GemData data = read(std::string("[variables]\n") + row.line);
    EXPECT_EQ(data.variables.at(0).rawValue(), row.value) << row.line;
  }
}

TEST(ModelText, TellsWhichLineIsWrong) {
  for (const auto &[complaint, text, none] : storedCases("bad_models.txt")) {
    ModelTextError error;
    EXPECT_FALSE(modelFromText(text, error)) << text;
    EXPECT_EQ(std::to_string(error.line) + ": " + error.reason, complaint) << text;
  }
}

TEST(ModelCommand, ImportsAndExports) {
  const TemporaryDirectory folder;
  const std::string file = folder / "tool.kel";
  const std::string text = folder / "tool.txt";
  CommandRun result = runModel({"import", VELTO_SOURCE_DIR "/examples/etch_tool.model", file});
  ASSERT_EQ(result.status, 0) << result.errors;
  const auto bytes = readDataFile(systemFiles(), file);
  ASSERT_TRUE(bytes);
  const auto data = loadGemData(*bytes);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->communication.modelName, "ETCH-1");
  EXPECT_EQ(data->control.initialState, ControlState::OnlineRemote);
  ASSERT_EQ(data->variables.Count(), 42U);
  for (size_t i = 0; i < data->variables.Count(); ++i)
    EXPECT_TRUE(CHSecsMessage().SetFromSml(data->variables.at(i).rawValue()))
        << data->variables.at(i).vid;
  for (size_t i = 0; i < data->reports.Count(); ++i)
    for (const uint32_t vid : data->reports.at(i).variables)
      EXPECT_NE(data->variables.FindVid(vid), nullptr) << vid;
  for (size_t i = 0; i < data->events.Count(); ++i)
    for (const uint32_t rptid : data->events.at(i).reports)
      EXPECT_NE(data->reports.FindReport(rptid), nullptr) << rptid;

  result = runModel({"export", file});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr("alid=3002 category=parameter-error set=no enable=yes "
                                       "text=\"Reflected power above limit\"\n"));
  EXPECT_EQ(runModel({"export", file, text}).status, 0);
  EXPECT_EQ(systemFiles().read(text), result.output);
  EXPECT_EQ(runModel({"import", text, file}).status, 0);
  EXPECT_EQ(readDataFile(systemFiles(), file), bytes);
}

TEST(ModelCommand, SaysWhatIsWrong) {
  const TemporaryDirectory folder;
  const std::string text = folder / "text";
  const std::string missing = folder / "missing/file";
  const std::string good = folder / "good.kel";
  ASSERT_TRUE(systemFiles().write(text, "[alarms]\nalid=x\n"));
  ASSERT_TRUE(systemFiles().write(good, storeGemData({})));
  const struct {
    CommandArguments arguments;
    int status;
    std::string errors;
  } rows[] = {
      {{"export", missing}, 1, "velto: " + missing + ": cannot be read\n"},
      {{"export", text}, 1, "velto: " + text + ": is no model data file\n"},
      {{"export", good, missing}, 1, "velto: " + missing + ": cannot be written\n"},
      {{"import", missing, good}, 1, "velto: " + missing + ": cannot be read\n"},
      {{"import", text, good},
       1,
       "velto: " + text + ":2: alid must be a number from 0 to 4294967295\n"},
      {{"import", "/dev/null", missing}, 1, "velto: " + missing + ": cannot be written\n"},
  };
  for (const auto &row : rows) {
    const CommandRun result = runModel(row.arguments);
    EXPECT_EQ(result.status, row.status) << row.errors;
    EXPECT_EQ(result.errors, row.errors);
  }
}

} // namespace
} // namespace velto
