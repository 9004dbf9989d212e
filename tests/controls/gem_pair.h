#pragma once

#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"
#include "gem/fake_owner.h"
#include "platform/null_modem.h"
#include "platform/serial_device.h"
#include "support/table.h"
#include "support/temporary_directory.h"
#include "transport/network.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace velto {

/// A front end whose operator accepts or cancels; keeps what was shown.
class OperatorPanel final : public FrontEnd {
public:
  void messageBox(const std::string &text) override { shown.push_back(text); }
  bool showSheet(PropertySheet &sheet) override {
    shown.push_back(sheet.title);
    return accepts;
  }
  bool accepts = true;
  std::vector<std::string> shown;
};

/// Files as they are, but nothing waits for the disk, which may be full.
class UnflushedFiles final : public FileSystem {
public:
  bool append(const std::string &path, std::string_view bytes) override {
    return FileSystem::append(path, bytes.substr(0, full ? bytes.size() / 2 : bytes.size())) &&
           !full;
  }
  bool flush(const std::string &) override { return true; }
  bool write(const std::string &path, std::string_view bytes) override {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    return file.good();
  }
  bool syncDirectory(const std::string &) override { return true; }

  bool full = false; ///< half of what is added finds room
};

/// A Gem control with files of its own and the model of a small tool. It keeps its events as lines
/// ("Received S1F1W", "ControlStateChanged 2 4"), and answers by DefProc() unless a test acts.
class GemStation {
public:
  GemStation(const ControlSite &site, const std::string &pathPrefix)
      : control(std::make_unique<CVeltoGemCtrl>(site)) {
    control->SetIniFileName(pathPrefix + ".ini");
    control->SetDataFileName(pathPrefix + ".kel");
    GemData &data = model().data();
    data.communication = {1, "ETCH-1", "1.00", true};
    data.variables.Add(variable(1, StatusVariable, SecsByte, "<u1 4>", RoleControlState));
    data.variables.Add(variable(2, StatusVariable, SecsDWord, "<u4 7>"));
    data.variables.Add(variable(3, EquipmentConstant, SecsDWord, "<u4 15>"));
    data.variables.Add(variable(4, DataVariable, SecsAscii, "<a'LOT'>"));
    data.variables.FindVid(1)->setDescription("State");
    data.variables.FindVid(2)->setDescription("Position");
    data.variables.FindVid(2)->setUnit("mm");
    data.variables.FindVid(3)->setMinimum("10");
    data.variables.FindVid(3)->setMaximum("20");
    model().events().RegisterCEID(7, kNoRole, "Done");
    model().events().RegisterCEID(8, kNoRole, "Gone");
    model().alarms().RegisterALID(5, 5, "Hot");
    model().alarms().RegisterALID(6, 6, "Cold");
    control->SaveData();
    control->observe([this](const Member &event, Arguments arguments) { note(event, arguments); });
  }

  CHGem &model() { return *control->engine().gem(); }
  std::vector<std::string> take() { return std::exchange(lines, {}); }
  /// The message of a slot on one line, without annotations.
  std::string slot(size_t index) { return FakeOwner::oneLine(model().slot(index).message); }
  /// Sends a message from the free work space.
  bool send(const std::string &sml) {
    control->SetWorkSpace(CHGem::kWork);
    control->SetReply(false);
    control->SetSML(sml);
    return control->Send();
  }

  std::unique_ptr<CVeltoGemCtrl> control;
  bool answers = true;
  std::vector<std::string> lines;
  std::vector<std::string> messages; ///< what was received, each on one line
  /// Runs inside every event; it may destroy the control.
  std::function<void(const std::string &line)> onEvent;

private:
  static CHGemEventVid variable(uint32_t vid, uint8_t kind, uint8_t type, const char *value,
                                uint8_t role = kNoRole) {
    CHGemEventVid fresh;
    fresh.vid = vid;
    fresh.kind = kind;
    fresh.nodeType = type;
    fresh.setRawValue(value);
    fresh.role = role;
    return fresh;
  }

  void note(const Member &event, Arguments arguments) {
    std::string line = event.name;
    if (event.name == "Received" || event.name == "Sent")
      line += " " + HeaderText(currentHeader(), HeaderTextMode::Name);
    else if (event.name != "Connected" && event.name != "Disconnected")
      for (const Variant &argument : arguments)
        line += " " + argument.text();
    lines.push_back(line);
    if (event.name == "Received" && control->LogicalConnection() == 1)
      messages.push_back(slot(CHGem::kReceived));
    if (onEvent)
      onEvent(line);
    if (control != nullptr && answers && event.name == "Received")
      control->DefProc();
  }

  CHSecsHeader currentHeader() const {
    CHSecsMessage message;
    message.SetMsg(control->Msg());
    return message.header;
  }
};

/// An equipment and a host, each a Gem control, on the loopback or the two ends of a serial line.
struct GemLink {
  explicit GemLink(LinkProtocol protocol = LinkProtocol::Hsms) {
    host.model().SetHost(true);
    host.model().data().communication = {1, "", "", false};
    for (const GemStation *station : {&equipment, &host})
      station->control->SetTransport(static_cast<int16_t>(protocol));
    if (protocol == LinkProtocol::SecsISerial) {
      equipment.control->SetSerialPort(cable.emplace(net.loop).a().path());
      host.control->SetSerialPort(cable->b().path());
    }
    equipment.control->SetServer(true);
    equipment.control->SetPortNumber(0);
    equipment.control->SetPhysicalConnection(true);
    settle(1);
    equipment.control->SetPortNumber(equipment.control->engine().physical().LocalPort());
    host.control->SetIPAddress("127.0.0.1");
    host.control->SetPortNumber(equipment.control->PortNumber());
  }

  /// Lets both work until nothing is left to do, for some milliseconds of their time: more of them
  /// as long as messages wait for a line, whose bytes the system may take a while to hand over.
  void settle(int milliseconds = 8) {
    for (int i = 0; i < milliseconds || (i < 100 && waits()); ++i) {
      net.clock.advance(1);
      net.settle();
      if (cable && waits() && net.loop.runOnce(20))
        net.settle();
    }
  }
  bool waits() const {
    return std::ranges::any_of(std::array{&equipment, &host}, [](const GemStation *station) {
      return station->control != nullptr &&
             station->control->engine().physical().link().hasUnsent();
    });
  }

  /// Both communicating, the events so far forgotten.
  void establish() {
    host.model().data().communication.establishCommunications = true;
    equipment.model().data().communication.establishCommunications = false;
    host.control->SetPhysicalConnection(true);
    settle();
    ASSERT_EQ(equipment.control->CommunicationState(), 2);
    ASSERT_EQ(host.control->CommunicationState(), 2);
    equipment.take();
    host.take();
  }

  /// The host goes away, which the equipment notices: on a serial line by a message that cannot be
  /// sent.
  void leave() {
    host.control->SetPhysicalConnection(false);
    settle();
    if (!cable)
      return;
    equipment.control->SetSecsIRetry(0);
    const bool asks = equipment.send("s1f1w"); // unless communications have ended before
    net.clock.advance(1);
    net.settle();
    net.clock.advance(10'000); // T2
    settle();
    equipment.control->SetSecsIRetry(3);
    SerialDevice closed; // loses what comes, unlike a pseudo terminal
    closed.open(cable->b().path(), {});
    std::array<uint8_t, 64> lost{}; // the request for the line
    net.until([&] { return !asks || closed.read(lost.data(), lost.size()) > 0; });
  }

  /// What the equipment answers to a message of the host; "" when nothing comes. What comes behind
  /// the answer stays among the host's messages.
  std::string ask(const std::string &sml) {
    host.messages.clear();
    host.take();
    if (!host.send(sml))
      return "not sent";
    settle(2);
    if (host.messages.empty())
      return "";
    const std::string answer = host.messages.front();
    host.messages.erase(host.messages.begin());
    return answer;
  }

  /// Asks what the rows of a table ask: the message, the answer on one line (of a complaint only
  /// its name; none: nothing is sent), and a property of the equipment that is set before.
  void expectAnswers(const char *file, const char *table) {
    if (equipment.control->CommunicationState() == 0)
      establish();
    for (const TableRow &row : tableOf(file, table)) {
      const size_t equals = row[2].find('=');
      if (equals != std::string::npos) {
        ASSERT_TRUE(
            equipment.control->set(row[2].substr(0, equals), Variant(row[2].substr(equals + 1))));
      }
      const std::string reply = ask(row[0]);
      EXPECT_EQ(reply.starts_with("S9F") ? reply.substr(0, 4) : reply, row[1]) << row[0];
    }
  }

  Network net;
  OperatorPanel front;
  TemporaryDirectory folder;
  UnflushedFiles files;
  std::optional<NullModem> cable;
  GemStation equipment{ControlSite(net.loop, front, files), folder / "equipment"};
  GemStation host{ControlSite(net.loop, front, files), folder / "host"};
};

/// The tests of this run over every link.
class GemPair : public testing::TestWithParam<LinkProtocol>, protected GemLink {
protected:
  GemPair() : GemLink(GetParam()) {}
};

inline auto everyLink() {
  return testing::Values(LinkProtocol::Hsms, LinkProtocol::SecsISerial, LinkProtocol::SecsITcp);
}
inline std::string linkName(const testing::TestParamInfo<LinkProtocol> &link) {
  static constexpr std::array kNames{"Hsms", "Serial", "SecsITcp"};
  return kNames[static_cast<size_t>(link.param)];
}

} // namespace velto
