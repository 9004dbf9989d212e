#pragma once

#include "base/text.h"
#include "gem/engine/engine.h"
#include "secs2/sml_printer.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include "transport/network.h"

namespace velto {

/// An engine with a sink that answers by DefProc() and keeps what it is told as lines.
class Station final : public CHGemEventSink {
public:
  Station(Network &network, const std::string &folder)
      : net(network), engine(makeHandle<CHGemEngine>(net.loop)) {
    engine->SetSink(this);
    engine->SetIniFileName(folder + "station.ini");
    engine->gem()->SetDataFileName(folder + "station.kel");
    engine->gem()->data().communication.initialState = CommunicationState::NotCommunicating;
    engine->gem()->data().communication.modelName = "ETCH-1";
    engine->gem()->data().communication.softwareRevision = "1.00";
    CHGemEventVid state;
    state.vid = 16;
    state.nodeType = SecsByte;
    state.setRawValue("<u1 4>");
    state.role = RoleControlState;
    engine->gem()->data().variables.Add(state);
  }

  void OnConnected(const std::string &, int32_t) override { note("connected"); }
  void OnDisconnected(const std::string &, int32_t) override { note("disconnected"); }
  void OnConnectionStateChanged(int16_t next, int16_t previous) override {
    note("link " + std::to_string(previous) + " " + std::to_string(next));
  }
  void OnProblem(const Problem &problem) override {
    note(std::string("problem ") + linkProblemName(problem.code));
  }
  void OnFailure(int16_t code, const std::string &text) override {
    note("problem " + std::to_string(code) + " " + text);
  }
  void OnReceived(const std::string &, int32_t) override {
    note("received " + name(CHGem::kReceived));
    if (answers && engine)
      engine->DefProc();
  }
  void OnSent() override { note("sent " + name(CHGem::kSent)); }
  void OnCommunicationStateChanged(int16_t next, int16_t previous) override {
    note("communication " + std::to_string(previous) + " " + std::to_string(next));
  }
  void OnControlStateChanged(int16_t next, int16_t previous) override {
    note("control " + std::to_string(previous) + " " + std::to_string(next));
  }
  void OnVariableChanged(int32_t vid) override { note("variable " + std::to_string(vid)); }

  std::vector<std::string> take() { return std::exchange(lines, {}); }
  std::string sml(size_t slot) { return RenderSml(engine->gem()->slot(slot).message); }

  Network &net;
  Handle<CHGemEngine> engine;
  bool answers = true;
  bool keepsLines = true;
  std::function<void(const std::string &)> onNote;
  std::vector<std::string> lines;

private:
  std::string name(size_t slot) {
    if (engine->gem() == nullptr)
      return "";
    return HeaderText(engine->gem()->slot(slot).message.header, HeaderTextMode::Name);
  }
  void note(const std::string &line) {
    if (keepsLines)
      lines.push_back(line);
    if (onNote)
      onNote(line);
  }
};

/// An equipment that listens and a host, on the loopback.
class GemPair : public testing::Test {
protected:
  void SetUp() override {
    host.engine->gem()->SetHost(true);
    equipment.engine->physical().settings().server = true;
    equipment.engine->physical().settings().portNumber = 0;
    listen();
  }

  /// The equipment listens; the host is given its port.
  void listen() {
    equipment.engine->OpenConnection();
    equipment.engine->Tick();
    host.engine->physical().settings().ipAddress = "127.0.0.1";
    host.engine->physical().settings().portNumber = equipment.engine->physical().LocalPort();
    equipment.engine->physical().settings().myPortNumber =
        host.engine->physical().settings().portNumber;
  }

  /// Runs both engines until nothing happens, in `turns` milliseconds of their time.
  void run(int turns = 6) {
    for (int i = 0; i < turns; ++i) {
      net.clock.advance(1);
      net.settle();
    }
  }

  void establish() {
    host.engine->OpenConnection();
    run();
    ASSERT_EQ(equipment.engine->GetCommunicationState(), CommunicationState::Communicating);
    ASSERT_EQ(host.engine->GetCommunicationState(), CommunicationState::Communicating);
    equipment.take();
    host.take();
  }

  bool send(Station &station, const std::string &sml) {
    CHSecsMessage message;
    EXPECT_TRUE(message.SetFromSml(sml));
    return station.engine->gem()->Send(message);
  }

  Network net;
  TemporaryDirectory equipmentFolder;
  TemporaryDirectory hostFolder;
  Station equipment{net, equipmentFolder / ""};
  Station host{net, hostFolder / ""};
};

} // namespace velto
