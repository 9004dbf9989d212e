// What an equipment keeps for its host while there are no communications.
#include "controls/gem_pair.h"
#include "gem/capabilities/capabilities.h"

namespace velto {
namespace {

constexpr int16_t kInactive = 0;
constexpr int16_t kActive = 1;
constexpr int16_t kFull = 2;
constexpr int16_t kTransmitting = 3;
constexpr const char *kDone = "S6F24 <b 0x00>";

class GemSpoolTest : public GemPair {
protected:
  GemSpoolTest() {
    eq.SetCapabilities(CapabilitySpooling);
    for (const uint8_t role : {RoleSpoolCountActual, RoleSpoolCountTotal, RoleMaxSpoolTransmit,
                               RoleOverWriteSpool, RoleSpoolStartTime, RoleSpoolFullTime})
      variable(role);
    for (const uint8_t role : {RoleStartSpooling, RoleEndSpooling, RoleSpoolTransferFailure})
      equipment.model().events().RegisterCEID(role, role, "");
    equipment.control->SaveData();
  }

  // Its VID is 100 and its role.
  void variable(uint8_t role) {
    CHGemEventVid fresh;
    fresh.vid = 100U + role;
    fresh.nodeType =
        role == RoleSpoolStartTime || role == RoleSpoolFullTime ? SecsAscii : SecsDWord;
    fresh.role = role;
    fresh.SetValue("");
    equipment.model().data().variables.Add(std::move(fresh));
  }
  std::string valueOf(uint8_t role) { return eq.VIDValue(100 + role); }

  void setUp(const char *streams = "{{<u1 6>{}}}") {
    establish();
    ASSERT_EQ(ask(std::string("s2f43w") + streams), "S2F44 { <b 0x00> { } }");
  }
  void lose() {
    leave();
    ASSERT_NE(eq.CommunicationState(), 2);
  }
  void comeBack() {
    host.control->SetPhysicalConnection(true);
    settle();
    ASSERT_EQ(eq.CommunicationState(), 2);
    host.messages.clear();
  }
  /// The CEIDs of the events that the host has got since the last call.
  std::vector<int> events() {
    settle(20);
    std::vector<int> ceids;
    for (const std::string &line : std::exchange(host.messages, {}))
      if (int dataId = 0, ceid = 0;
          std::sscanf(line.c_str(), "S6F11 W { <u4 %d> <u4 %d>", &dataId, &ceid) == 2 ||
          std::sscanf(line.c_str(), "S6F11W { <u4 %d> <u4 %d>", &dataId, &ceid) == 2)
        ceids.push_back(ceid);
    return ceids;
  }
  uint32_t lastSystemBytes() {
    return host.model().slot(CHGem::kReceived).message.header.systemBytes;
  }
  void reply(const char *sml, uint32_t systemBytes) {
    host.control->SetWorkSpace(CHGem::kWork);
    host.control->SetSML(sml);
    host.control->SetSystemBytes(static_cast<int32_t>(systemBytes));
    EXPECT_TRUE(host.control->Send());
    settle(2);
  }
  std::string spoolFile() { return eq.DataFileName() + ".spool"; }

  CVeltoGemCtrl &eq = *equipment.control;
  using Ceids = std::vector<int>;
};

TEST_P(GemSpoolTest, KeepsTheOrderUntilTheHostHasAll) {
  setUp();
  EXPECT_TRUE(eq.InvokeEvent(7));
  EXPECT_EQ(events(), (Ceids{7})) << "nothing is spooled while there are communications";
  lose();
  EXPECT_EQ(eq.SpoolState(), kActive);
  EXPECT_NE(valueOf(RoleSpoolStartTime), "");
  EXPECT_TRUE(eq.InvokeEvent(7));
  EXPECT_TRUE(eq.InvokeEvent(8));
  EXPECT_FALSE(eq.InvokeAlarm(5, 0x85)) << "of a stream that is not spooled";
  EXPECT_FALSE(equipment.send("s6f12<b 0>")) << "a secondary";
  EXPECT_TRUE(equipment.send("s6f1w{<u4 1><u4 1><a>{}}")) << "what the application sends itself";
  comeBack();
  EXPECT_TRUE(eq.InvokeEvent(8)) << "behind those that wait";
  EXPECT_EQ(eq.SpoolCount(), 5);
  EXPECT_EQ(valueOf(RoleSpoolCountActual), "5");
  EXPECT_EQ(valueOf(RoleSpoolCountTotal), "5");
  EXPECT_EQ(events(), Ceids{});
  EXPECT_EQ(ask("s6f23w<u1 2>").substr(0, 4), "S9F7");
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 8, 8, 18}));
  EXPECT_EQ(eq.SpoolState(), kInactive);
  EXPECT_EQ(valueOf(RoleSpoolCountActual), "0");
  EXPECT_EQ(valueOf(RoleSpoolCountTotal), "5");
  EXPECT_FALSE(systemFiles().size(spoolFile()));
  EXPECT_EQ(ask("s6f23w<u1 0>"), "S6F24 <b 0x02>");
  lose();
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 1>"), kDone);
  EXPECT_EQ(events(), (Ceids{18})) << "purged";
  EXPECT_EQ(ask("s2f43w{}"), "S2F44 { <b 0x00> { } }");
  lose();
  EXPECT_FALSE(eq.InvokeEvent(7));
  EXPECT_EQ(eq.SpoolState(), kInactive);
}

TEST_P(GemSpoolTest, TransmitsSoManyAtATimeAndSurvivesInterruptions) {
  setUp();
  eq.SetVIDValue(100 + RoleMaxSpoolTransmit, 2);
  lose();
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(eq.InvokeEvent(i < 2 ? 7 : 8));
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7}));
  EXPECT_EQ(eq.SpoolState(), kActive);
  host.answers = false;
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{7})) << "the next one waits for its reply";
  EXPECT_EQ(eq.SpoolState(), kTransmitting);
  EXPECT_EQ(ask("s6f23w<u1 1>"), "S6F24 <b 0x01>");
  EXPECT_TRUE(eq.InvokeEvent(8)) << "while it is transmitted";
  lose();
  host.answers = true;
  comeBack();
  eq.SetVIDValue(100 + RoleMaxSpoolTransmit, 0);
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{7, 8, 8, 19, 18}));
  // T3: the partner is there, but does not answer.
  lose();
  EXPECT_TRUE(eq.InvokeEvent(7));
  comeBack();
  host.answers = false;
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  settle(2);
  net.clock.advance(46'000);
  settle();
  EXPECT_EQ(eq.SpoolState(), kActive);
  EXPECT_EQ(eq.SpoolCount(), 3);
  host.answers = true;
  lose();
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 19, 18}));
  // The partner aborts the transaction: it is not sent again before the host asks for it.
  lose();
  EXPECT_TRUE(eq.InvokeEvent(7));
  comeBack();
  host.answers = false;
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  settle(2);
  host.messages.clear();
  reply("s6f0", lastSystemBytes());
  EXPECT_EQ(events(), Ceids{});
  EXPECT_EQ(eq.SpoolState(), kActive);
  EXPECT_EQ(eq.SpoolCount(), 3);
  host.answers = true;
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 19, 18}));
}

// However communications end, what was under way then is the first that is spooled, in its order.
TEST_P(GemSpoolTest, KeepsWhatWasNotAnswered) {
  setUp();
  const auto endLink = [this] { lose(); };
  const auto runOutOfTime = [this] {
    net.clock.advance(46'000);
    settle(2);
  };
  const auto disable = [this] { eq.SetCommunicationState(0); };
  // Another one before the loss is known.
  const auto endLinkUnnoticed = [this] {
    equipment.onEvent = [this](const std::string &line) {
      if (line.starts_with("Disconnected")) {
        EXPECT_TRUE(eq.InvokeEvent(7)) << "the states follow on the next tick";
      }
    };
    lose();
    equipment.onEvent = nullptr;
  };
  // What a line with retries gives up, and all that waited behind it.
  std::vector<CHSecsMessage> sent;
  const auto giveUp = [this, &sent] {
    for (const CHSecsMessage &message : sent)
      equipment.model().OnSendFailed(message);
  };
  struct Case {
    const char *name;
    std::function<void()> loss;
    Ceids spooled;
    bool ofConnections = false; ///< a serial line knows no such end
  };
  for (const Case &row :
       {Case{"the link is lost", endLink, {8, 7, 17, 8}}, Case{"T3", runOutOfTime, {8, 7, 17, 8}},
        Case{"disabled", disable, {8, 7, 17, 8}, true}, Case{"given up", giveUp, {8, 7, 17, 8}},
        Case{"not yet noticed", endLinkUnnoticed, {8, 7, 17, 7, 8}, true}}) {
    if (cable && row.ofConnections)
      continue;
    host.answers = true;
    EXPECT_TRUE(eq.InvokeEvent(7));
    EXPECT_EQ(events(), Ceids{7}) << row.name;
    host.answers = false;
    sent.clear();
    for (const int ceid : {8, 7}) {
      EXPECT_TRUE(eq.InvokeEvent(ceid));
      const CHSecsMessage &message = equipment.model().slot(CHGem::kSent).message;
      CHSecsMessage &kept = sent.emplace_back();
      kept.header = message.header;
      kept.root = message.root.clone();
    }
    EXPECT_EQ(events(), (Ceids{8, 7})) << row.name << ": they did arrive";
    row.loss();
    EXPECT_TRUE(eq.InvokeEvent(8)) << row.name;
    host.answers = true;
    lose();
    comeBack();
    EXPECT_EQ(ask("s6f23w<u1 0>"), kDone) << row.name;
    Ceids arrived = events();
    EXPECT_EQ(arrived.back(), 18) << row.name;
    arrived.pop_back();
    EXPECT_EQ(arrived, row.spooled) << row.name;
  }
  // Answered in another order, more than there is room for, and switched off.
  host.answers = false;
  eq.SetMaxSpoolMessages(3);
  for (const int ceid : {7, 8, 7, 8, 7})
    EXPECT_TRUE(eq.InvokeEvent(ceid));
  settle(2);
  host.control->SetWorkSpace(CHGem::kReceived);
  host.control->DefProc(); // the last one
  settle(2);
  lose();
  EXPECT_EQ(eq.SpoolCount(), 3) << "two events and that of the beginning";
  eq.SetMaxSpoolMessages(100);
  host.answers = true;
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{7, 8, 17, 18}));
  host.answers = false;
  EXPECT_TRUE(eq.InvokeEvent(8));
  eq.SetCapabilities(0);
  eq.SetCapabilities(CapabilitySpooling);
  host.answers = true;
  lose();
  const bool waited = GetParam() != LinkProtocol::Hsms; // for the line, which gave it up
  EXPECT_EQ(eq.SpoolCount(), waited ? 2 : 1);
}

// It may end at once then: what was not answered is on disk before the call returns.
TEST_P(GemSpoolTest, KeepsWhatWasNotAnsweredWhenItClosesOrEnds) {
  const auto close = [this] { eq.SetPhysicalConnection(false); };
  const auto end = [this] { equipment.control.reset(); };
  // Whoever hears of the loss may load anew, or want no model any more.
  const auto losing = [this](const std::function<void()> &act) {
    bool done = false;
    equipment.onEvent = [&](const std::string &line) {
      if ((line == "Disconnected" || line.starts_with("Problem 208")) && !std::exchange(done, true))
        act();
    };
    leave();
    EXPECT_TRUE(done);
    equipment.onEvent = nullptr;
  };
  const std::string dataFile = eq.DataFileName();
  const std::string iniFile = eq.IniFileName();
  setUp();
  const std::function<void()> acts[] = {
      close,
      [&] { losing([this] { eq.LoadData(); }); },
      [&] { losing([&] { eq.LoadModel(dataFile); }); },
      [&] { losing([this] { eq.SetLogicalConnection(0); }); },
      [&] { losing([this] { eq.SetCapabilities(0); }); },
      end,
  };
  for (size_t i = 0; i < std::size(acts); ++i) {
    SCOPED_TRACE(i);
    host.answers = false;
    EXPECT_TRUE(eq.InvokeEvent(7));
    EXPECT_TRUE(eq.InvokeEvent(8));
    ASSERT_EQ(events(), (Ceids{7, 8}));
    acts[i]();
    CVeltoGemCtrl next(ControlSite(net.loop, front, files));
    next.SetIniFileName(iniFile);
    next.SetDataFileName(dataFile);
    ASSERT_TRUE(next.LoadData());
    next.SetCapabilities(CapabilitySpooling);
    settle(1);
    EXPECT_GE(next.SpoolCount(), 2)
        << "with the event of the beginning, where that is still spooled";
    if (equipment.control == nullptr)
      break;
    host.answers = true;
    if (eq.LogicalConnection() == 0) {
      eq.SetLogicalConnection(1);
      ASSERT_TRUE(eq.LoadData());
    }
    eq.SetCapabilities(CapabilitySpooling);
    if (!eq.PhysicalConnection())
      eq.SetPhysicalConnection(true);
    lose();
    comeBack();
    EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
    Ceids heard = events();
    std::erase(heard, 17);
    EXPECT_EQ(heard, (Ceids{7, 8, 18}));
  }
}

// What is kept of a transfer would get its reply when nobody waits for that any more.
TEST_P(GemSpoolTest, AProcessProgramIsSentWhenTheHostIsThere) {
  eq.SetCapabilities(CapabilitySpooling | CapabilityProcessPrograms);
  host.control->SetCapabilities(CapabilityProcessPrograms);
  eq.SetProcessProgramBody("ETCH", "<a 'x'>");
  setUp("{{<u1 7>{}}{<u1 6>{}}}");
  lose();
  EXPECT_FALSE(eq.SendProcessProgram("ETCH"));
  EXPECT_FALSE(eq.RequestProcessProgram("CLEAN"));
  EXPECT_EQ(eq.SpoolCount(), 1) << "the event of the beginning";
  comeBack();
  EXPECT_TRUE(eq.SendProcessProgram("ETCH")) << "past what is still in the spool";
  settle(20);
  EXPECT_EQ(host.control->ProcessPrograms(), "ETCH");
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
}

// The host hung until T3 of an event had run out, and answers the next one then.
TEST_P(GemSpoolTest, ALateReplyTakesItsMessageOut) {
  setUp();
  host.answers = false;
  EXPECT_TRUE(eq.InvokeEvent(7));
  settle(2);
  const uint32_t aborted = lastSystemBytes();
  net.clock.advance(30'000);
  EXPECT_TRUE(eq.InvokeEvent(8));
  settle(2);
  const uint32_t systemBytes = lastSystemBytes();
  net.clock.advance(16'000);
  settle(2);
  EXPECT_EQ(eq.SpoolCount(), 3);
  reply("s6f0", aborted);
  EXPECT_EQ(eq.SpoolCount(), 3) << "an abort is no acknowledge";
  reply("s6f12<b 0>", systemBytes);
  EXPECT_EQ(eq.SpoolCount(), 2);
  EXPECT_EQ(valueOf(RoleSpoolCountActual), "2");
  lose();
  ASSERT_TRUE(eq.LoadData());
  settle();
  EXPECT_EQ(eq.SpoolCount(), 2) << "which the file knows";
  host.answers = true;
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{7, 17, 18}));
}

TEST_P(GemSpoolTest, SwitchingItOffLosesNothing) {
  setUp();
  lose();
  EXPECT_TRUE(eq.InvokeEvent(7));
  comeBack();
  host.answers = false;
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  settle(4);
  eq.SetCapabilities(0);
  host.answers = true;
  lose();
  eq.SetCapabilities(CapabilitySpooling);
  EXPECT_EQ(eq.SpoolState(), kActive);
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 18})) << "that which was out";
}

TEST_P(GemSpoolTest, IsFullAtItsBounds) {
  setUp();
  struct Case {
    const char *name;
    int32_t messages;
    int32_t size;
    const char *overwrites;
    Ceids kept;
  };
  for (const Case &row :
       {Case{"the newest are dropped", 3, 1000, "0", {17, 7, 7, 18}},
        Case{"the oldest are dropped", 3, 1000, "1", {7, 7, 8, 18}},
        Case{"no room at all", 3, 0, "1", {18}}, Case{"no messages", 0, 1000, "1", {18}}}) {
    eq.SetMaxSpoolMessages(row.messages);
    eq.SetMaxSpoolSize(row.size);
    eq.SetVIDValue(100 + RoleOverWriteSpool, std::string(row.overwrites));
    lose();
    EXPECT_EQ(valueOf(RoleSpoolFullTime) == "", row.kept.size() > 1) << row.name;
    for (const int ceid : {7, 7, 8})
      EXPECT_EQ(eq.InvokeEvent(ceid), row.kept.size() > 1 && (ceid == 7 || row.kept[0] == 7))
          << row.name;
    EXPECT_EQ(eq.SpoolState(), kFull) << row.name;
    EXPECT_NE(valueOf(RoleSpoolFullTime), "") << row.name;
    EXPECT_EQ(valueOf(RoleSpoolCountTotal), "4") << row.name;
    comeBack();
    ask("s6f23w<u1 0>");
    settle();
    if (row.kept.size() > 1) {
      EXPECT_EQ(events(), row.kept) << row.name;
    }
    settle();
    EXPECT_EQ(eq.SpoolState(), kInactive) << row.name;
  }
  // By their bytes: 1 KiB is room for a few.
  eq.SetMaxSpoolMessages(100);
  eq.SetMaxSpoolSize(1);
  eq.SetVIDValue(100 + RoleOverWriteSpool, std::string("1"));
  lose();
  for (int i = 0; i < 40'000; ++i)
    ASSERT_TRUE(eq.InvokeEvent(8));
  EXPECT_GT(eq.SpoolCount(), 10);
  EXPECT_LT(eq.SpoolCount(), 40);
  EXPECT_LT(*systemFiles().size(spoolFile()), 2U << 20) << "what was dropped goes from the file";
}

TEST_P(GemSpoolTest, OutlivesTheProcess) {
  setUp();
  lose();
  const Ceids sent{7, 8, 8, 7, 7, 8};
  for (const int ceid : sent)
    EXPECT_TRUE(eq.InvokeEvent(ceid));
  const std::string started = valueOf(RoleSpoolStartTime);
  const std::string before = spoolFile();
  eq.SetDataFileName(folder / "other.kel");
  ASSERT_TRUE(eq.SaveData());
  settle(2);
  EXPECT_FALSE(systemFiles().size(before)) << "it goes with the data file";
  ASSERT_TRUE(eq.LoadData());
  settle();
  EXPECT_EQ(eq.SpoolCount(), 7);
  EXPECT_EQ(valueOf(RoleSpoolCountTotal), "7");
  EXPECT_EQ(valueOf(RoleSpoolStartTime), started);
  EXPECT_TRUE(eq.InvokeEvent(8));
  const std::string whole = *systemFiles().read(spoolFile());
  int least = 0;
  for (size_t size = 0; size <= whole.size(); size += size + 3 < whole.size() ? 3 : 1) {
    systemFiles().write(spoolFile(), whole.substr(0, size));
    eq.LoadData();
    settle(1);
    ASSERT_GE(eq.SpoolCount(), least) << size;
    ASSERT_LE(eq.SpoolCount(), least + 1) << size;
    least = eq.SpoolCount();
  }
  EXPECT_EQ(least, 8);
  // What is damaged costs the messages that it hits, and is told once.
  const auto isTold = [&] {
    eq.LoadData();
    settle(1);
    return std::ranges::any_of(equipment.take(), [](const std::string &line) {
      return line.find("could not be read") != std::string::npos;
    });
  };
  const auto loadsDamaged = [&](const std::string &damaged) {
    systemFiles().write(spoolFile(), damaged);
    EXPECT_TRUE(isTold());
    EXPECT_EQ(systemFiles().read(spoolFile() + ".damaged").value_or(""), damaged);
    const int32_t count = eq.SpoolCount();
    EXPECT_EQ(valueOf(RoleSpoolCountTotal) == "0", count == 0);
    EXPECT_FALSE(isTold());
    EXPECT_EQ(eq.SpoolCount(), count);
    systemFiles().remove(spoolFile() + ".damaged");
    return count;
  };
  for (size_t at = 0; at + 8 < whole.size(); at += 7) {
    SCOPED_TRACE(at);
    std::string flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x55);
    EXPECT_GE(loadsDamaged(flipped), 7);
    for (const char junk : {'\0', '\1'})
      EXPECT_GE(loadsDamaged(std::string(whole).replace(at, 8, 8, junk)), 6);
    EXPECT_GE(loadsDamaged(std::string(whole).insert(at, 4096, '\0')), 7);
  }
  EXPECT_EQ(loadsDamaged(std::string(100, '\0')), 0);
  EXPECT_EQ(eq.SpoolState(), kInactive);
  systemFiles().write(spoolFile(), whole);
  eq.LoadData();
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 8, 8, 7, 7, 8, 8, 18}));
}

TEST_P(GemSpoolTest, RefusesWhatTheDiskDoesNotTake) {
  setUp();
  lose();
  EXPECT_TRUE(eq.InvokeEvent(7));
  equipment.take();
  files.full = true;
  for (int i = 0; i < 3; ++i)
    EXPECT_FALSE(eq.InvokeEvent(8));
  EXPECT_EQ(equipment.take().size(), 1U) << "told once";
  files.full = false;
  EXPECT_TRUE(eq.InvokeEvent(7));
  ASSERT_TRUE(eq.LoadData());
  comeBack();
  EXPECT_EQ(ask("s6f23w<u1 0>"), kDone);
  EXPECT_EQ(events(), (Ceids{17, 7, 7, 18}));
}

TEST_P(GemSpoolTest, TheApplicationMayDoAnythingMeanwhile) {
  for (const char *at : {"CommunicationStateChanged", "Sent S6F11W", "Received S6F12", "Problem"}) {
    for (int act = 0; act < 3; ++act) {
      GemLink link;
      GemStation &station = link.equipment;
      station.control->SetCapabilities(CapabilitySpooling);
      station.control->SaveData();
      link.establish();
      link.ask("s2f43w{{<u1 6>{}}}");
      bool acted = false;
      station.onEvent = [&](const std::string &line) {
        if (!line.starts_with(at) || std::exchange(acted, true))
          return;
        if (act == 0)
          station.control.reset();
        else if (act == 1)
          station.control->LoadData();
        else
          station.control->SetPhysicalConnection(false);
      };
      const auto invoke = [&] {
        return station.control != nullptr && station.control->InvokeEvent(7);
      };
      link.host.control->SetPhysicalConnection(false);
      link.settle();
      invoke();
      link.files.full = true;
      invoke();
      link.files.full = false;
      invoke();
      link.host.control->SetPhysicalConnection(true);
      link.settle();
      link.ask("s6f23w<u1 0>");
      link.settle();
      EXPECT_TRUE(acted) << at;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Over, GemSpoolTest, everyLink(), linkName);

} // namespace
} // namespace velto
