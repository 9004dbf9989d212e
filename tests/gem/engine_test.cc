#include "gem/data/data_file.h"
#include "gem/station.h"
#include "secs2/reply_text.h"
#include "secs2/support.h"

#include <gmock/gmock.h>

namespace velto {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class GemEngine : public GemPair {};

TEST_F(GemEngine, ADisabledEquipmentHearsNothingAndSaysNothing) {
  equipment.engine->gem()->data().communication.initialState = CommunicationState::Disabled;
  host.engine->OpenConnection();
  run();
  EXPECT_EQ(equipment.engine->physical().State(), LinkState::Ready);
  EXPECT_THAT(equipment.take(), ElementsAre("connected", "sent SelectRsp", "link 0 2"));
  EXPECT_FALSE(equipment.engine->SetCommunicationState(CommunicationState::Communicating))
      << "communications are to be asked for";
  EXPECT_TRUE(equipment.engine->SetCommunicationState(CommunicationState::NotCommunicating));
  run();
  EXPECT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::Communicating);
}

TEST_F(GemEngine, ASilentHostIsAskedAgainAfterTheDelay) {
  host.answers = false;
  host.engine->gem()->data().communication.establishCommunications = false;
  host.engine->OpenConnection();
  run();
  EXPECT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::NotCommunicating);
  EXPECT_GT(equipment.engine->NextTick(), 44000U) << "nothing to do but wait for T3";
  equipment.take();
  net.clock.advance(45001);
  run(1);
  EXPECT_THAT(equipment.take(), ElementsAre("problem T3"))
      << "no S9F9: nobody with this device ID has spoken yet";
  EXPECT_EQ(equipment.engine->physical().counters().of(LinkProblem::T3), 1U);
  net.clock.advance(30001);
  run(3);
  EXPECT_THAT(equipment.take(), ElementsAre("sent S1F13W"));
}

TEST_F(GemEngine, AnUnansweredAttemptEndsBeforeTheHostHearsOfIt) {
  establish();
  host.answers = false;
  equipment.engine->gem()->data().variables.FindByRole(RoleControlState)->SetValue("0");
  equipment.engine->SetOnlineSwitch(true);
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("control 0 1", "sent S1F1W"));
  net.clock.advance(45000);
  run(1);
  EXPECT_THAT(equipment.take(), ElementsAre("communication 2 1", "control 1 2", "sent S9F9",
                                            "problem T3", "sent S1F13W"));
}

TEST_F(GemEngine, AForeignDeviceIsToldByTheEquipmentOnly) {
  establish();
  host.engine->gem()->SetDeviceID(7);
  EXPECT_TRUE(send(host, "s1f1w"));
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("sent S9F1"));
  EXPECT_EQ(equipment.sml(CHGem::kSent).substr(0, 18), "S9F1\r\n<b 0x00 0x07");
  EXPECT_THAT(host.take(), ElementsAre("sent S1F1W", "received S9F1"));
  EXPECT_TRUE(send(host, "s6f12<b 0>"));
  run();
  EXPECT_THAT(equipment.take(), ElementsAre()) << "no reply expected: nothing is said";
}

TEST_F(GemEngine, TheMessageIsInItsSlotWheneverTheApplicationHearsOfAnything) {
  CHGemEventVid &limit = equipment.engine->gem()->data().variables.Append();
  limit.vid = 20;
  limit.kind = EquipmentConstant;
  establish();
  std::vector<std::string> heard;
  equipment.onNote = [&](const std::string &line) {
    heard.push_back(line + " " + std::to_string(equipment.sml(CHGem::kReceived).size()));
  };
  for (const char *sml : {"s2f15w{{<u4 20><u4 5>}{<u4 20><u4 6>}}", "s1f3w{<u4 16><u4 16>}"}) {
    heard.clear();
    EXPECT_TRUE(send(host, sml));
    const std::string size = " " + std::to_string(RenderSml(fromSml(sml)).size());
    run();
    EXPECT_GE(heard.size(), 2U);
    for (const std::string &line : heard)
      EXPECT_TRUE(line.ends_with(size)) << line;
    EXPECT_EQ(equipment.sml(CHGem::kReceived), RenderSml(fromSml(sml))) << "and afterwards";
  }
}

TEST_F(GemEngine, OurOwnEndsUnderstandEachOtherWhicheverAsks) {
  host.engine->gem()->data().communication.establishCommunications = false;
  host.engine->OpenConnection();
  run();
  EXPECT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::Communicating);
  EXPECT_EQ(host.sml(CHGem::kSent), "S1F14\r\n{\r\n  <b 0x00>\r\n  {\r\n  }\r\n}\r\n");
  equipment.engine->gem()->data().variables.FindByRole(RoleControlState)->SetValue("0");
  equipment.take();
  EXPECT_TRUE(equipment.engine->SetControlState(ControlState::AttemptOnline));
  run();
  EXPECT_THAT(equipment.take(),
              ElementsAre("control 0 1", "sent S1F1W", "received S1F2", "control 1 4"));
}

TEST_F(GemEngine, RequestsAnsweredByAnErrorAreGivenUp) {
  establish();
  host.answers = false;
  const auto refuse = [this](const char *request) {
    CHSecsVerifier &slot = host.engine->gem()->slot(CHGem::kReceived);
    CHSecsMessage error;
    MakeStream9(error, 5, &slot.message.header);
    EXPECT_TRUE(host.engine->gem()->Send(error)) << request;
    run();
  };
  equipment.engine->gem()->data().variables.FindByRole(RoleControlState)->SetValue("0");
  EXPECT_TRUE(equipment.engine->SetControlState(ControlState::AttemptOnline));
  run();
  refuse("S1F1");
  EXPECT_EQ(equipment.engine->GetControlState(), ControlState::HostOffline)
      << "the attempt has failed";
  equipment.engine->SetCommunicationState(CommunicationState::NotCommunicating);
  run();
  refuse("S1F13");
  equipment.take();
  run(10);
  EXPECT_THAT(equipment.take(), ElementsAre()) << "asks again after the delay";
  EXPECT_GT(equipment.engine->NextTick(), 20000U);
}

TEST_F(GemEngine, ALinkThatIsClosedAtOnceIsTriedAgain) {
  TcpSocket listener;
  listener.create(0, true);
  listener.listen(5);
  host.engine->physical().settings().portNumber = listener.localPort();
  host.engine->OpenConnection();
  for (int i = 0; i < 3; ++i) {
    host.engine->Tick();
    net.settle();
    int error = 0;
    EXPECT_TRUE(listener.accept(error)) << "accepted and closed";
    run();
    net.clock.advance(10000);
    run(1);
    EXPECT_THAT(host.take(), Contains("problem T5"));
  }
  EXPECT_EQ(host.engine->physical().counters().of(LinkProblem::T5), 3U);
}

TEST_F(GemEngine, AReopenOfOursNeedsNoSeparationTime) {
  establish();
  host.engine->physical().RequestReopen();
  run();
  EXPECT_EQ(host.engine->GetCommunicationState(), CommunicationState::Communicating);
  EXPECT_THAT(host.take(), testing::Not(Contains(HasSubstr("problem"))));
}

TEST_F(GemEngine, ControlMessagesAndOldOnesAreNotHandledAsData) {
  establish();
  CHSecsMessage reject;
  reject.SetMsg("ffff810d000700000001");
  Bytes bytes;
  reject.Encode(bytes);
  EXPECT_TRUE(host.engine->SendEncoded(bytes));
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("received RejectReq"));
  EXPECT_TRUE(send(host, "s1f13w{}"));
  equipment.answers = false;
  run();
  equipment.engine->CloseConnection();
  run();
  equipment.engine->SetCommunicationState(CommunicationState::NotCommunicating);
  EXPECT_TRUE(equipment.engine->DefProc());
  EXPECT_NE(equipment.engine->GetCommunicationState(), CommunicationState::Communicating)
      << "nobody is there";
}

// The application may answer later, whatever the link goes on with meanwhile.
TEST_F(GemEngine, WhatIsNoDataOfTheHostLeavesTheMessageThatWaits) {
  for (const char *between : {"ffff0000000500000001", "ffff0000000100000002",
                              "ffff810d000700000001", "00078101000000000003"}) {
    establish();
    equipment.answers = false;
    EXPECT_TRUE(send(host, "s1f3w{<u4 16>}"));
    run();
    equipment.onNote = [this](const std::string &line) {
      if (line == "received LinktestReq") { // which the slot shows as long as it is told
        EXPECT_EQ(equipment.sml(CHGem::kReceived), "LinktestReq\r\n");
      }
    };
    CHSecsMessage message;
    message.SetMsg(between);
    Bytes bytes;
    message.Encode(bytes);
    EXPECT_TRUE(host.engine->SendEncoded(bytes));
    run();
    host.take();
    EXPECT_TRUE(equipment.engine->DefProc());
    run();
    EXPECT_THAT(host.take(), Contains("received S1F4")) << between;
    EXPECT_EQ(host.sml(CHGem::kReceived), "S1F4\r\n{\r\n  <u1 4>\r\n}\r\n");
    equipment.onNote = nullptr;
    equipment.answers = true;
    host.engine->CloseConnection();
    run();
  }
}

TEST_F(GemEngine, AThousandReconnectsLeaveNothingBehind) {
  establish();
  bool lost = false;
  host.onNote = [&lost](const std::string &line) { lost = lost || line == "communication 2 0"; };
  for (int i = 0; i < 1000; ++i) {
    lost = false;
    host.engine->physical().RequestReopen();
    for (int turn = 0; turn < 100 && !(lost && host.engine->GetCommunicationState() ==
                                                   CommunicationState::Communicating);
         ++turn)
      run(1);
    ASSERT_EQ(host.engine->GetCommunicationState(), CommunicationState::Communicating) << i;
    ASSERT_LE(equipment.engine->gem()->OpenTransactionCount(), 2U);
    equipment.take();
    host.take();
  }
}

TEST_F(GemEngine, MayBeDestroyedInsideEveryReport) {
  for (const char *event : {"connected", "link 1 2", "communication 0 1", "sent S1F13W",
                            "received S1F14", "communication 1 2"}) {
    Station victim(net, hostFolder / "");
    victim.engine->gem()->SetHost(true);
    victim.engine->physical().settings().ipAddress = "127.0.0.1";
    victim.engine->physical().settings().portNumber = host.engine->physical().settings().portNumber;
    victim.onNote = [&](const std::string &line) {
      if (line == event)
        victim.engine.reset();
    };
    victim.engine->OpenConnection();
    for (int i = 0; i < 8 && victim.engine; ++i) {
      victim.engine->Tick();
      run(1);
    }
    EXPECT_EQ(victim.engine, nullptr) << event;
  }
}

// As the ticks of a control do while the host pumps the loop.
TEST_F(GemEngine, ATickInsideAReportDoesNotReportAgain) {
  establish();
  int ticks = 0;
  equipment.onNote = [&](const std::string &line) {
    if ((line != "communication 2 0" && line != "control 1 2") || ++ticks > 5)
      return;
    EXPECT_NE(equipment.engine->NextTick(), 0U) << line << ": the loop must not spin";
    equipment.engine->Tick();
  };
  host.engine->CloseConnection();
  run();
  EXPECT_THAT(equipment.take(), Contains("communication 2 0").Times(1));
  equipment.engine->gem()->data().variables.FindByRole(RoleControlState)->SetValue("1");
  equipment.engine->changed();
  run();
  EXPECT_THAT(equipment.take(), ElementsAre("control 1 2"));
  EXPECT_EQ(ticks, 2);
}

TEST_F(GemEngine, AChangeOvertakenWhileItsEventIsSentIsNotReported) {
  establish();
  equipment.engine->gem()->data().events.Add({1, "", true, {}, RoleOnlineToOffline});
  bool overtaken = false;
  equipment.onNote = [&](const std::string &line) {
    if (line == "sent S6F11W" && !std::exchange(overtaken, true))
      equipment.engine->SetControlState(ControlState::EquipmentOffline);
  };
  EXPECT_TRUE(send(host, "s1f15w"));
  run();
  EXPECT_EQ(equipment.engine->GetControlState(), ControlState::EquipmentOffline);
  const std::vector<std::string> lines = equipment.take();
  EXPECT_THAT(lines, Contains("control 4 0"));
  EXPECT_THAT(lines, testing::Not(Contains("control 4 2")));
}

TEST_F(GemEngine, SavesWhatTheHostChangedAndLoadsItAgain) {
  establish();
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 9>{<u4 16>}}}}"));
  run();
  equipment.engine->gem()->data().control.offlineState = 7;
  EXPECT_TRUE(equipment.engine->gem()->SaveData());
  equipment.engine->gem()->data().variables.FindVid(16)->SetValue("3");
  EXPECT_TRUE(equipment.engine->LoadData(equipmentFolder / "station.kel"));
  EXPECT_NE(equipment.engine->gem()->data().reports.FindReport(9), nullptr);
  EXPECT_EQ(equipment.engine->GetControlState(), ControlState::OnlineRemote) << "the initial state";
  EXPECT_EQ(equipment.engine->gem()->data().control.offlineState, ControlState::HostOffline)
      << "kept in range";
  EXPECT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::NotCommunicating)
      << "the link is selected";
  EXPECT_THAT(equipment.take(), Contains("communication 2 0"));
  EXPECT_FALSE(equipment.engine->LoadData(equipmentFolder / "missing.kel"));
  EXPECT_EQ(equipment.engine->gem()->data().variables.Count(), 0U);
}

TEST_F(GemEngine, AFailedSaveIsTriedAgainAfterAPause) {
  establish();
  equipment.engine->gem()->SetDataFileName(equipmentFolder / "missing/x.kel");
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 9>{<u4 16>}}}}"));
  run();
  EXPECT_TRUE(equipment.engine->gem()->events().modified());
  EXPECT_GT(equipment.engine->NextTick(), 900U);
  equipment.engine->gem()->SetDataFileName(equipmentFolder / "x.kel");
  EXPECT_TRUE(send(host, "s1f3w{}"));
  run();
  EXPECT_FALSE(systemFiles().read(equipmentFolder / "x.kel")) << "nor is it tried with a question";
  net.clock.advance(1000);
  run(1);
  EXPECT_FALSE(equipment.engine->gem()->events().modified());
  EXPECT_TRUE(systemFiles().read(equipmentFolder / "x.kel"));
}

TEST_F(GemEngine, EveryChangeIsOnDiskAtOnceThoughTheSettingsCannotBeWritten) {
  establish();
  equipment.engine->SetIniFileName(equipmentFolder / "missing/x.ini");
  EXPECT_TRUE(equipment.engine->gem()->SaveData());
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 9>{<u4 16>}}}}"));
  net.settle();
  const auto model = loadGemData(*systemFiles().read(equipmentFolder / "station.kel"));
  ASSERT_TRUE(model);
  EXPECT_NE(model->reports.FindReport(9), nullptr);
}

TEST_F(GemEngine, AChangeOfTheHostIsSavedAtOnceAlsoAfterAFailedSave) {
  establish();
  equipment.engine->gem()->SetDataFileName(equipmentFolder / "missing/x.kel");
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 9>{<u4 16>}}}}"));
  run();
  equipment.engine->gem()->SetDataFileName(equipmentFolder / "x.kel");
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{{<u4 10>{<u4 16>}}}}"));
  run();
  EXPECT_EQ(host.sml(CHGem::kReceived), "S2F34\r\n<b 0x00>\r\n");
  const auto file = readDataFile(systemFiles(), equipmentFolder / "x.kel");
  ASSERT_TRUE(file);
  EXPECT_EQ(loadGemData(*file)->reports.Count(), 2U);
}

TEST_F(GemEngine, TheApplicationHearsOfAChangeThatCouldNotBeSaved) {
  establish();
  const std::string file = equipmentFolder / "missing/x.kel";
  equipment.engine->gem()->SetDataFileName(file);
  equipment.engine->logEnabled = true;
  equipment.engine->logFileName = equipmentFolder / "log";
  const std::string problem =
      "Error : The model data file " + file + " cannot be written: No such file or directory";
  for (const int ms : {6, 3000}) { // the tries that follow are silent
    EXPECT_TRUE(send(host, "s2f37w{<bool 0>{}}"));
    net.settle();
    run();
    net.clock.advance(static_cast<uint32_t>(ms));
    run();
    EXPECT_EQ(host.sml(CHGem::kReceived), "S2F38\r\n<b 0x00>\r\n");
    EXPECT_EQ(std::ranges::count(equipment.take(), "problem 0 " + problem), 1);
  }
  EXPECT_THAT(*systemFiles().read(equipmentFolder / "log.log"), HasSubstr(problem));
  equipment.onNote = [this](const std::string &line) {
    if (line.starts_with("problem 0"))
      equipment.engine.reset();
  };
  EXPECT_TRUE(send(host, "s2f37w{<bool 1>{}}"));
  run();
  EXPECT_EQ(equipment.engine, nullptr);
}

TEST_F(GemEngine, AFileThatCouldNotBeLoadedIsKept) {
  const std::string file = equipmentFolder / "x.kel";
  CHGem &gem = *equipment.engine->gem();
  gem.SetDataBakCount(2);
  const auto contents = [&file](const char *suffix) {
    return readDataFile(systemFiles(), file + suffix).value_or("-");
  };
  ASSERT_TRUE(equipment.engine->gem()->SaveData());
  for (const char *damaged : {"no model", "none either"}) {
    ASSERT_TRUE(systemFiles().write(file, damaged));
    ASSERT_TRUE(systemFiles().write(file + "001", "backup"));
    EXPECT_FALSE(equipment.engine->LoadData(file));
    EXPECT_TRUE(gem.SaveData());
    EXPECT_EQ(contents(".damaged"), damaged);
    EXPECT_EQ(contents("001"), "backup") << "no backup is given up for it";
    EXPECT_TRUE(loadGemData(contents("")));
    const std::string first = contents("");
    EXPECT_TRUE(gem.SaveData());
    EXPECT_EQ(contents("001"), first);
    EXPECT_EQ(contents(".damaged"), damaged);
  }
  EXPECT_FALSE(equipment.engine->LoadData(equipmentFolder / "missing.kel"));
  EXPECT_TRUE(gem.SaveData());
  EXPECT_FALSE(systemFiles().size(equipmentFolder / "missing.kel.damaged"));
  ASSERT_TRUE(systemFiles().write(file, "no model"));
  EXPECT_FALSE(equipment.engine->LoadData(file));
  std::filesystem::remove(file + ".damaged");
  std::filesystem::create_directories(file + ".damaged/in the way");
  EXPECT_FALSE(gem.SaveData());
  EXPECT_EQ(contents(""), "no model");
}

TEST_F(GemEngine, SettingsComeFromTheIniFile) {
  systemFiles().write(equipmentFolder / "x.ini",
                      "[HSMS]\nIPAddress=10.0.0.7\nT5=1234\nServer=1\n[LogicalConnection]\n"
                      "DeviceID=5\nT3=20000\n[Log]\nFileName=" +
                          std::string(300, 'x') + "\n");
  const auto engine = makeHandle<CHGemEngine>(net.loop);
  engine->SetIniFileName(equipmentFolder / "x.ini");
  engine->SetIniFileName("");
  engine->LoadIniFile();
  EXPECT_FALSE(engine->LoadData(equipmentFolder / "missing.kel"));
  EXPECT_EQ(engine->physical().settings().ipAddress, "10.0.0.7");
  EXPECT_EQ(engine->physical().t5, 1234);
  EXPECT_EQ(engine->physical().settings().t6, 5000);
  EXPECT_EQ(engine->logFileName, std::string(255, 'x'));
  EXPECT_EQ(engine->logical().DeviceID(), 5);
  EXPECT_EQ(engine->logical().T3(), 20000U);
  EXPECT_TRUE(engine->logical().Host()) << "without the key the role is the host";
  EXPECT_FALSE(engine->physical().OpenRequested()) << "the key is missing";
  systemFiles().write(equipmentFolder / "x.ini", "[HSMS]\nEnableCommunication=1\n"
                                                 "[LogicalConnection]\nObjectModel=0\n");
  engine->LoadIniFile();
  EXPECT_TRUE(engine->physical().OpenRequested());
  EXPECT_EQ(engine->gem(), nullptr);
  EXPECT_TRUE(engine->SaveIniFile());
  EXPECT_THAT(*systemFiles().read(equipmentFolder / "x.ini"), HasSubstr("ObjectModel=0"));
}

} // namespace
} // namespace velto
