#include "apps/velto/demo/gem_story.h"

#include "apps/velto/demo/demo_station.h"
#include "base/text.h"
#include "demo_examples.h"
#include "gem/capabilities/capability.h"
#include "gem/data/data_file.h"
#include "gem/model_text/model_text.h"
#include "gem/models/equipment_clock.h"

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <iostream>

namespace velto {

namespace {

// Variables, events and alarms of the etch tool.
constexpr int32_t kPressure = 101;
constexpr int32_t kReflectedPower = 103;
constexpr int32_t kWafersSinceClean = 111;
constexpr int32_t kLot = 202;
constexpr int32_t kWafer = 203;
constexpr int32_t kSlot = 204;
constexpr int32_t kEndpointTime = 205;
constexpr int32_t kPowerLimit = 303;
constexpr int32_t kEtchStarted = 11;
constexpr int32_t kEtchCompleted = 12;
constexpr int32_t kPowerAboveLimit = 3002;
constexpr int16_t kAlarmSet = 0x80; // ALCD, bit 7

constexpr const char *kSeparateRequest = "ffff0000000900000001";

// The control state of the host is on-line; off-line it would abort every primary that it receives.
constexpr const char *kHostModel = "[communication]\n"
                                   "initial_state=enabled\n"
                                   "[control]\n"
                                   "initial_state=remote\n"
                                   "[variables]\n"
                                   "vid=1 kind=SV type=U1 role=ControlState default=4\n";

// A new temporary folder, removed with all its files at the end. The path is empty when the folder
// cannot be made.
class Folder {
public:
  Folder() {
    std::error_code error;
    path_ = (std::filesystem::temp_directory_path(error) / "velto-demo.XXXXXX").string();
    if (error || mkdtemp(path_.data()) == nullptr)
      path_.clear();
  }
  ~Folder() {
    std::error_code ignored;
    if (!path_.empty())
      std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  const std::string &path() const { return path_; }

private:
  std::string path_;
};

class GemStory {
public:
  GemStory() {
    equipment_.narrate("host");
    equipment_.control.onRemoteCommand = [this](const std::string &name, const std::string &) {
      std::cout << "The equipment's application is asked to " << name << ".\n";
      if (name == "START")
        start();
    };
    equipment_.control.onVIDChanged = [this](int32_t vid) {
      changed_ = vid;
      std::cout << "The equipment's application hears that constant " << vid << " changed.\n";
    };
    equipment_.control.onControlStateChanged = [](int16_t next, int16_t) {
      std::cout << "Control state: " << stateName<ControlState>(static_cast<uint8_t>(next)) << "\n";
    };
  }

  bool tell() {
    const bool complete = connect() && establishCommunications() && goOnline() && readStatus() &&
                          defineReports() && processWafer() && raiseAlarm() && changeConstant() &&
                          askForTime() && traceData() && watchLimits() && sendRecipe() &&
                          showText() && spool() && goOffline() && separate();
    std::cout << (complete ? "\nAll of it went as it should.\n" : "\nThe demo FAILED.\n");
    return complete;
  }

private:
  static void title(const char *text) { std::cout << "\n== " << text << '\n'; }

  bool connect() {
    std::cout << "== Connect\n";
    if (!equipment_.check(!folder_.path().empty(), "a place for temporary files"))
      return false;
    ModelTextError error;
    auto tool = modelFromText(kEtchToolExample, error);
    const auto hostModel = modelFromText(kHostModel, error);
    if (!tool || !hostModel) {
      std::cerr << "velto: demo: line " << error.line << " of a model: " << error.reason << '\n';
      return false;
    }
    tool->control.initialState = ControlState::EquipmentOffline;
    tool->control.offlineState = ControlState::EquipmentOffline;
    tool->communication.establishCommunications =
        false; // the host establishes communications in this story
    if (!equipment_.load(folder_.path(),
                         "[HSMS]\nServer=1\nPortNumber=0\n[LogicalConnection]\nHost=0\n", *tool))
      return false;
    equipment_.control.SetCapabilities(kAllCapabilities);
    const CHPhysicalConnection &listener = equipment_.control.engine().physical();
    equipment_.control.SetPhysicalConnection(true);
    if (!equipment_.await([&] { return listener.LocalPort() != 0; }, "a port"))
      return false;
    const std::string port = std::to_string(listener.LocalPort());
    if (!host_.load(folder_.path(),
                    "[HSMS]\nPortNumber=" + port + "\n[LogicalConnection]\nHost=1\n", *hostModel))
      return false;
    std::cout << "An etch tool listens on port " << port << ", its host connects and selects.\n";
    host_.control.SetPhysicalConnection(true);
    return host_.await([&] { return listener.State() == LinkState::Ready; }, "the selection");
  }

  bool establishCommunications() {
    title("Establish communications");
    return host_.expect("s1f14{<b 0>{<a'ETCH-1'><a'1.00'>}}") &&
           host_.await(
               [this] {
                 return host_.control.CommunicationState() == CommunicationState::Communicating;
               },
               "communications");
  }

  bool goOnline() {
    title("Go on-line");
    std::cout
        << "Off-line, the equipment aborts what it is asked. Its operator turns the switch.\n";
    if (!host_.ask({{"s1f3w{<u4 1>}", "s1f0"}}))
      return false;
    equipment_.control.SetControlStateSwitch(true);
    return host_.expect("s1f1w") &&
           host_.expectStart("S6F11W { <u4 1> <u4 3> * CEID { { <u4 1> { <u1 4> <a '20") &&
           acknowledged();
  }

  // Waits until the host has received an event report or an alarm and the equipment its
  // acknowledge.
  bool reported(const std::string &sml) { return host_.expect(sml) && acknowledged(); }

  bool acknowledged() {
    return equipment_.await(
        [this] { return equipment_.control.engine().logical().OpenTransactionCount() == 0; },
        "the acknowledge");
  }

  bool readStatus() {
    title("Read status");
    equipment_.control.SetVIDValue(kPressure, "8.5");
    equipment_.control.SetVIDValue(kWafersSinceClean, "41");
    return host_.ask(
        {{"s1f11w{<u4 101><u4 111>}", "s1f12{{<u4 101><a'Chamber pressure'><a'mTorr'>}"
                                      "{<u4 111><a'Wafers since last clean'><a'wafers'>}}"},
         {"s1f3w{<u4 1><u4 101><u4 111>}", "s1f4{<u1 4><f4 8.5><u4 41>}"}});
  }

  bool defineReports() {
    title("Define and link two reports, enable their events");
    return host_.ask(
               {{"s2f37w{<bool 0>{}}", "s2f38<b 0>"},
                {"s2f33w{<u4 1>{}}", "s2f34<b 0>"},
                {"s2f33w{<u4 2>{{<u4 10>{<u4 202><u4 203><u4 204>}}{<u4 20>{<u4 101><u4 205>}}}}",
                 "s2f34<b 0>"},
                {"s2f35w{<u4 3>{{<u4 11>{<u4 10>}}{<u4 12>{<u4 10><u4 20>}}}}", "s2f36<b 0>"},
                {"s2f37w{<bool 1>{<u4 1><u4 11><u4 12>}}", "s2f38<b 0>"}}) &&
           isOnDisk();
  }

  // The reports that the host defined are in the data file, where they survive a power loss.
  bool isOnDisk() {
    auto bytes = readDataFile(systemFiles(), equipment_.control.DataFileName());
    const auto model = bytes ? loadGemData(std::move(*bytes)) : std::nullopt;
    return equipment_.check(model && model->reports.Count() == 2, "two reports in the data file");
  }

  bool processWafer() {
    title("Process a wafer");
    if (!host_.ask({{"s2f41w{<a'DANCE'>{}}", "s2f42{<b 1>{}}"},
                    {"s2f41w{<a'START'>{{<a'SPEED'><u1 9>}}}",
                     "s2f42{<b 3>{{<a'SPEED'><b 1>}{<a'LOT'><b 2>}}}"},
                    {"s2f41w{<a'START'>{{<a'LOT'><a'LOT-0042'>}}}", "s2f42{<b 4>{}}"}}) ||
        !reported("s6f11w{<u4 2><u4 11>{{<u4 10>{<a'LOT-0042'><a'W01'><u1 1>}}}}"))
      return false;
    equipment_.control.SetVIDValue(kPressure, "19.75");
    equipment_.control.SetVIDValue(kEndpointTime, "63.5");
    equipment_.control.InvokeEvent(kEtchCompleted);
    return reported("s6f11w{<u4 3><u4 12>{{<u4 10>{<a'LOT-0042'><a'W01'><u1 1>}}"
                    "{<u4 20>{<f4 19.75><f4 63.5>}}}}");
  }

  // The application of the equipment, which starts what the model has found in order.
  void start() {
    CVeltoGemCtrl &control = equipment_.control;
    control.SetVIDValue(kLot, control.CPVAL("LOT"));
    control.SetVIDValue(kWafer, "W01");
    control.SetVIDValue(kSlot, "1");
    control.SetHCACK(4); // done later, which an event tells
    loop_.post([this] { equipment_.control.InvokeEvent(kEtchStarted); });
  }

  bool raiseAlarm() {
    title("An alarm is set and cleared");
    equipment_.control.SetVIDValue(kReflectedPower, "21.5");
    equipment_.control.InvokeAlarm(kPowerAboveLimit, kAlarmSet);
    const std::string text = "<u4 3002><a'Reflected power above limit'>}";
    if (!reported("s5f1w{<b 0x84>" + text) || !host_.ask({{"s1f3w{<u4 103>}", "s1f4{<f4 21.5>}"}}))
      return false;
    equipment_.control.InvokeAlarm(kPowerAboveLimit, 0);
    return reported("s5f1w{<b 0x04>" + text);
  }

  bool changeConstant() {
    title("Change an equipment constant");
    return host_.ask({{"s2f15w{{<u4 303><f4 25>}}", "s2f16<b 0>"},
                      {"s2f15w{{<u4 303><f4 900>}}", "s2f16<b 1>"},
                      {"s2f13w{<u4 303>}", "s2f14{<f4 25>}"}}) &&
           equipment_.check(changed_ == kPowerLimit, "to hear of the new limit");
  }

  bool askForTime() {
    title("Ask for the time");
    if (!host_.send("s2f17w"))
      return false;
    const std::string answer = host_.next();
    return host_.check(holdsTime(answer), "a time, not " + answer);
  }

  static bool holdsTime(const std::string &answer) {
    const size_t quote = answer.find('\'');
    return answer.starts_with("S2F18 <a '") && answer.ends_with("'>") &&
           parseTime(answer.substr(quote + 1, answer.size() - quote - 3)).has_value();
  }

  bool traceData() {
    title("Trace two variables, ten times a second");
    const auto samples = [this](int last) {
      return host_.expectStart(formatText("S6F1W { <u4 1> <u4 %d> <a '20", last));
    };
    return host_.ask(
               {{"s2f23w{<u4 1><a'00000010'><u4 4><u4 2>{<u4 101><u4 103>}}", "s2f24<b 0>"}}) &&
           samples(2) && samples(4) && acknowledged();
  }

  bool watchLimits() {
    title("Watch a variable");
    if (!host_.ask({{"s2f45w{<u4 5>{{<u4 101>{{<b 1>{<f4 80><f4 60>}}}}}}", "s2f46{<b 0>{}}"},
                    {"s2f37w{<bool 1>{<u4 51>}}", "s2f38<b 0>"}}))
      return false;
    equipment_.control.SetVIDValue(kPressure, 90);
    return reported("s6f11w{<u4 4><u4 51>{}}");
  }

  bool sendRecipe() {
    title("Send a recipe, list all, fetch one");
    return host_.ask({{"s7f1w{<a'OX-ETCH'><u4 25>}", "s7f2<b 0>"},
                      {"s7f3w{<a'OX-ETCH'><a'STEP 1 CF4 50 RF 300 63 s'>}", "s7f4<b 0>"},
                      {"s7f19w", "s7f20{<a'OX-ETCH'>}"},
                      {"s7f5w<a'OX-ETCH'>", "s7f6{<a'OX-ETCH'><a'STEP 1 CF4 50 RF 300 63 s'>}"}});
  }

  bool showText() {
    title("A text for the operator");
    return host_.ask({{"s10f3w{<b 0><a'Lot 43 comes first'>}", "s10f4<b 0>"}});
  }

  // What is reported while the host is away waits for it.
  bool spool() {
    title("The host goes away, and comes again");
    if (!host_.ask({{"s2f43w{{<u1 6>{<u1 11>}}}", "s2f44{<b 0>{}}"}}) || !endLink())
      return false;
    equipment_.control.InvokeEvent(kEtchStarted);
    equipment_.control.InvokeEvent(kEtchCompleted);
    std::cout << "Meanwhile the equipment keeps " << equipment_.control.SpoolCount()
              << " reports.\n";
    host_.control.SetPhysicalConnection(true);
    return host_.expectStart("S1F14 { <b 0x00>") && host_.ask({{"s6f23w<u1 0>", "s6f24<b 0>"}}) &&
           host_.expectStart("S6F11W { <u4 5> <u4 11> * CEID { { <u4 10>") &&
           host_.expectStart("S6F11W { <u4 6> <u4 12> * CEID { { <u4 10>") && acknowledged();
  }

  bool goOffline() {
    title("Go off-line");
    return host_.ask({{"s1f15w", "s1f16<b 0>"}}) && reported("s6f11w{<u4 7><u4 1>{}}") &&
           equipment_.await(
               [this] { return equipment_.control.ControlState() == ControlState::HostOffline; },
               "the control state");
  }

  bool separate() {
    title("Separate");
    return endLink();
  }

  bool endLink() {
    if (!host_.check(host_.control.engine().SendEncoded(fromHex(kSeparateRequest)),
                     "to be still connected"))
      return false;
    host_.control.SetPhysicalConnection(false);
    return equipment_.await(
        [this] { return equipment_.control.CommunicationState() == CommunicationState::Disabled; },
        "the end of the link");
  }

  Folder folder_;
  EventLoop loop_;
  DemoStation equipment_{loop_, "equipment"};
  DemoStation host_{loop_, "host"};
  int32_t changed_ = 0; // the constant that the host changed last
};

} // namespace

bool tellGemStory() { return GemStory().tell(); }

} // namespace velto
