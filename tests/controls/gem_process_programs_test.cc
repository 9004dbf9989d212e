// Process programs of an equipment.
#include "controls/gem_capabilities.h"

#include <chrono>
#include <filesystem>

using namespace std::chrono_literals;

namespace velto {
namespace {

TEST_P(GemCapabilitiesTest, ProcessPrograms) {
  expectAnswers(kCapabilityTables, "ProcessPrograms");
}

// The application hears of each thing that the host does, and may refuse it with any code.
TEST_P(GemCapabilitiesTest, TheApplicationAnswersForProcessPrograms) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  struct Case {
    const char *message;
    const char *told;
    int16_t answer;
    const char *reply;
  };
  for (const Case &row : {
           Case{"s7f1w{<a'A'><u4 1>}", "6 A", 4, "S7F2 <b 0x04>"},
           Case{"s7f1w{<a'A'><u4 1>}", "6 A", 5, "S7F2 <b 0x05>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 1, "S7F4 <b 0x01>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 3, "S7F4 <b 0x03>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 0, "S7F4 <b 0x00>"},
           Case{"s7f3w{<a'A'><a'y'>}", "2 A", 5, "S7F4 <b 0x05>"},
           Case{"s7f23w{<a'A'><a><a>{}}", "2 A", 7, "S7F24 <b 0x07>"},
           Case{"s7f5w<a'A'>", "4 A", 1, "S7F6 { }"},
           Case{"s7f5w<a'A'>", "4 A", 0, "S7F6 { <a 'A'> <a 'x'> }"},
           Case{"s7f31w{<a'A'><a><a>}", "7 A", 1, "S7F32 <b 0x01>"},
           Case{"s7f17w{<a'A'>}", "3 A", 1, "S7F18 <b 0x01>"},
           Case{"s7f17w{}", "3 ", 1, "S7F18 <b 0x01>"},
           Case{"s7f5w<a'A'>", "4 A", 0, "S7F6 { <a 'A'> <a 'x'> }"},
           // Performed, with the completion told later: the event of the change does.
           Case{"s7f3w{<a'A'><a'later'>}", "2 A", 6, "S7F4 <b 0x06>"},
           Case{"s7f5w<a'A'>", "4 A", 0, "S7F6 { <a 'A'> <a 'later'> }"},
           Case{"s7f17w{<a'A'>}", "3 A", 6, "S7F18 <b 0x06>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 0, "S7F4 <b 0x00>"},
           Case{"s7f3w{<a'B'><a'y'>}", "1 B", 0, "S7F4 <b 0x00>"},
       }) {
    std::string told;
    equipment.onEvent = [&](const std::string &line) {
      if (!line.starts_with("ProcessProgram"))
        return;
      told += line;
      EXPECT_EQ(control.ACKC7(), 0);
      control.SetACKC7(row.answer);
    };
    EXPECT_EQ(ask(row.message), row.reply);
    EXPECT_EQ(told, std::string("ProcessProgram ") + row.told);
  }
  equipment.onEvent = [&](const std::string &line) {
    if (line == "ProcessProgram 3 B")
      control.SetACKC7(1);
  };
  EXPECT_EQ(ask("s7f17w{<a'A'><a'B'>}"), "S7F18 <b 0x01>");
  EXPECT_EQ(control.ProcessPrograms(), "A\nB") << "all of them, or none";
  equipment.onEvent = [&](const std::string &line) {
    if (line != "ProcessProgram 2 A")
      return;
    EXPECT_EQ(control.ProcessProgramBody("A"), "<a 'new'>\r\n") << "while it is offered";
    equipment.control.reset();
  };
  host.send("s7f3w{<a'A'><a'new'>}");
  settle(4);
  EXPECT_EQ(equipment.control, nullptr) << "which may end the control";
}

TEST_P(GemCapabilitiesTest, ChangesOfProcessProgramsAreReported) {
  addVariable(20, SecsAscii, RolePPChangeName);
  addVariable(21, SecsByte, RolePPChangeStatus);
  addVariable(22, SecsAscii, RolePPExecName);
  addVariable(23, SecsAscii, RolePPError);
  CHGemEventModel &events = equipment.model().events();
  events.RegisterCEID(30, RoleProcessProgramChanged, "");
  events.RegisterCEID(31, RoleProcessProgramSelected, "");
  events.SetReport(1, {20, 21});
  events.SetReport(2, {22});
  events.LinkReport(30, 1);
  events.LinkReport(31, 2);
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  std::string faults;
  equipment.onEvent = [&](const std::string &line) {
    if (line.starts_with("ProcessProgram 2") || line.starts_with("ProcessProgram 7"))
      control.SetProcessProgramErrors(faults);
  };
  using Messages = std::vector<std::string>;
  // What comes behind the reply, or of itself.
  const auto heard = [this](const char *message) {
    host.messages.clear();
    if (*message != '\0') {
      host.send(message);
    }
    settle(6);
    if (*message != '\0' && !host.messages.empty())
      host.messages.erase(host.messages.begin());
    return std::exchange(host.messages, {});
  };
  const auto changed = [](int id, const char *name, int status) {
    return "S6F11W { <u4 " + std::to_string(id) + "> <u4 30> * CEID { { <u4 1> { <a '" + name +
           "'> <u1 " + std::to_string(status) + "> } } } }";
  };
  const char *formatted = "s7f23w{<a'A'><a'ETCH-1'><a'1.00'>{}}";
  EXPECT_EQ(heard("s7f3w{<a'A'><a'x'>}"), Messages{changed(1, "A", 1)});
  EXPECT_EQ(heard(formatted), Messages{changed(2, "A", 2)});
  faults = "3 5 unknown command\n4 6 out of range";
  EXPECT_EQ(heard(formatted),
            (Messages{"S7F27W { <a 'A'> { { <u1 3> <u4 5> <a 'unknown command'> } { <u1 4> <u4 6> "
                      "<a 'out of range'> } } }",
                      changed(3, "A", 2)}));
  EXPECT_EQ(control.VIDValue(23), faults);
  faults = "";
  EXPECT_EQ(heard("s7f31w{<a'A'><a'ETCH-1'><a'2.00'>}"),
            Messages{"S7F27W { <a 'A'> { { <u1 2> <u4 0> <a 'SOFTREV'> } } }"});
  EXPECT_EQ(heard("s7f31w{<a'A'><a'ETCH-1'><a'1.00'>}"),
            Messages{"S7F27W { <a 'A'> { { <u1 0> <u4 0> <a> } } }"});
  EXPECT_EQ(control.VIDValue(23), "");
  EXPECT_FALSE(control.SelectProcessProgram("B"));
  EXPECT_TRUE(control.SelectProcessProgram("A"));
  EXPECT_EQ(heard(""), Messages{"S6F11W { <u4 4> <u4 31> * CEID { { <u4 2> { <a 'A'> } } } }"});
  control.SetProcessProgramBody("B", "<b 1>");
  for (const char *refused : {"", "{}", "<b", "{<a'C'><a><a>{}}", "<bool 1>", "<b 1> <b 2>"})
    control.SetProcessProgramBody("B", refused);
  control.SetProcessProgramBody("", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("B"), "<b 0x01>\r\n");
  EXPECT_EQ(control.ProcessPrograms(), "A\nB");
  EXPECT_TRUE(control.DeleteProcessProgram("A"));
  EXPECT_FALSE(control.DeleteProcessProgram("A"));
  EXPECT_EQ(heard(""), (Messages{changed(5, "B", 1), changed(6, "A", 3)}));
  EXPECT_EQ(
      heard("s7f3w{<b 65 0 255><a'x'>}"),
      Messages{"S6F11W { <u4 7> <u4 30> * CEID { { <u4 1> { <b 0x41 0x00 0xff> <u1 1> } } } }"})
      << "a name of bytes";
  EXPECT_EQ(heard("s7f17w{<b 65 0 255>}").size(), 1U);
  control.SetCapabilities(0);
  EXPECT_EQ(heard("s7f3w{<a'Z'><a'x'>}"), Messages{});
  EXPECT_EQ(control.ProcessPrograms(), "B") << "acknowledged, and nothing else";
}

// Between an equipment and a host that both keep process programs, in both directions.
TEST_P(GemCapabilitiesTest, ProcessProgramsAreSentAndAskedFor) {
  host.control->SetCapabilities(CapabilityProcessPrograms);
  establish();
  CVeltoGemCtrl &here = *equipment.control;
  CVeltoGemCtrl &there = *host.control;
  here.SetProcessProgramBody("PLAIN", "<b 1 2>");
  here.SetProcessProgramBody("LONG NAME", "{<a'LONG NAME'><a><a>{}}");
  std::string ended;
  const auto watch = [&ended](GemStation &station) {
    station.onEvent = [&](const std::string &line) {
      if (line.starts_with("ProcessProgram 8"))
        ended = line.substr(17) + ' ' + std::to_string(station.control->ACKC7());
    };
  };
  watch(equipment);
  EXPECT_TRUE(here.SendProcessProgram("PLAIN"));
  EXPECT_FALSE(here.SendProcessProgram("LONG NAME")) << "one at a time";
  settle(20);
  EXPECT_EQ(ended, "PLAIN 0");
  EXPECT_TRUE(here.SendProcessProgram("LONG NAME"));
  settle(20);
  EXPECT_EQ(ended, "LONG NAME 0");
  EXPECT_EQ(there.ProcessPrograms(), "LONG NAME\nPLAIN");
  EXPECT_EQ(there.ProcessProgramBody("LONG NAME"), here.ProcessProgramBody("LONG NAME"));
  EXPECT_TRUE(here.SendProcessProgram("PLAIN")) << "once more";
  settle(20);
  EXPECT_EQ(ended, "PLAIN 0");
  EXPECT_FALSE(here.SendProcessProgram("NONE"));

  there.DeleteProcessProgram("PLAIN");
  there.DeleteProcessProgram("LONG NAME");
  watch(host);
  for (const char *name : {"PLAIN", "LONG NAME"}) {
    EXPECT_TRUE(there.RequestProcessProgram(name));
    settle(20);
    EXPECT_EQ(ended, std::string(name) + " 0");
    EXPECT_EQ(there.ProcessProgramBody(name), here.ProcessProgramBody(name));
  }
  EXPECT_TRUE(there.RequestProcessProgram("NONE"));
  settle(20);
  EXPECT_EQ(ended, "NONE 4");

  // Refused, without an answer, and when the link is lost.
  const auto outcome = [&](const char *message, const std::string &answer) {
    equipment.answers = false;
    EXPECT_TRUE(there.RequestProcessProgram("PLAIN"));
    settle(2);
    equipment.control->SetWorkSpace(CHGem::kReceived);
    equipment.control->SetReply(true);
    equipment.control->SetSML(message);
    if (*message != '\0')
      equipment.control->Send();
    settle(2);
    EXPECT_EQ(ended, answer) << message;
    equipment.answers = true;
    equipment.control->SetReply(false);
    ended.clear();
  };
  outcome("s7f0", "PLAIN 7");
  outcome("s7f6{<a'OTHER'><a'x'>}", "PLAIN 7");
  outcome("s7f6<a'x'>", "PLAIN 7");
  outcome("", "");
  net.clock.advance(45'000);
  settle(4);
  EXPECT_EQ(ended, "PLAIN 7") << "T3";
}

TEST_P(GemCapabilitiesTest, TheFolderOfProcessProgramsIsBoundedAndTrustsNoFile) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  const std::string place = control.DataFileName() + ".recipes";
  const std::string name(80, '.');
  ASSERT_EQ(ask("s7f3w{<a'" + name + "'><b 1 2>}"), "S7F4 <b 0x00>");
  EXPECT_EQ(control.ProcessPrograms(), name) << "a name that takes more than a file's name can";
  const auto found = systemFiles().list(place);
  ASSERT_EQ(found->size(), 1U);
  const std::string file = place + '/' + found->front();
  const std::string whole = *systemFiles().read(file);
  for (size_t size = 0; size < whole.size(); size += 5) {
    systemFiles().write(file, whole.substr(0, size));
    EXPECT_EQ(control.ProcessProgramBody(name), "") << size;
  }
  EXPECT_EQ(ask("s7f5w<a'" + name + "'>"), "S7F6 { }");
  EXPECT_EQ(ask("s7f3w{<a'" + name + "'><b 3>}"), "S7F4 <b 0x00>") << "in its place";
  for (const char *other :
       {"A.new", ".pp", "=.pp", "=4.pp", "%4.pp", "A%41.pp", "=41.pp", "a b.pp"})
    systemFiles().write(place + '/' + other, whole);
  systemFiles().write(place + "/B.pp", whole);
  EXPECT_EQ(control.ProcessPrograms(), name + "\nB");
  EXPECT_EQ(control.ProcessProgramBody("B"), "") << "the file of another one";

  systemFiles().write(control.IniFileName(), "[Recipes]\nMaxRecipes=2\n");
  control.LoadData();
  control.SetCapabilities(kAllCapabilities);
  equipment.control->SetPhysicalConnection(true);
  control.SetProcessProgramBody("C", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("C"), "") << "too many";
  control.SetProcessProgramBody("B", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("B"), "<b 0x01>\r\n");
  systemFiles().remove(file);
  control.SetProcessProgramBody("C", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("C"), "<b 0x01>\r\n") << "another hand has made room";
  EXPECT_TRUE(control.DeleteProcessProgram("B"));
  systemFiles().write(place + "/D.pp", whole);
  std::filesystem::last_write_time(place, std::filesystem::file_time_type::clock::now() + 1h);
  control.SetProcessProgramBody("B", "<b 1>");
  EXPECT_EQ(control.ProcessPrograms(), "C\nD") << "another hand has taken it";

  control.SetRecipeFolder("/dev/null/nowhere");
  equipment.take();
  control.SetProcessProgramBody("C", "<b 1>");
  EXPECT_THAT(equipment.take(),
              testing::ElementsAre(testing::HasSubstr("the process program C cannot be written")));
}

} // namespace
} // namespace velto
