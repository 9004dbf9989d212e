// Every setting of the controls on links counts at once, also where nothing else goes on.
#include "controls/gem_ctrl.h"
#include "controls/registry.h"
#include "gem/engine/engine.h"
#include "support/event_lines.h"
#include "support/pty.h"
#include "support/table.h"
#include "support/temporary_directory.h"
#include "transport/network.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace velto {
namespace {

enum class Role { Serial, Listener, Client };

// A control with an open link, and the far end of that.
class OpenLink {
public:
  OpenLink(const std::string &name, Role role, bool secsI)
      : control_(createControl(name, ControlSite(net_.loop))), isGem_(name == "VeltoGem") {
    set("LogFileName", folder_ / "first");
    if (secsI)
      set("Transport", 2);
    if (role == Role::Serial) {
      line_.emplace();
      setenv("VELTO_COM51", line_->path().c_str(), 1);
      set("PortNumber", 50);
      set("Connect", true);
    } else if (role == Role::Listener) {
      port_ = freePort();
      set("Server", true);
      set("MyPortNumber", port_);
      open();
      run(20);
      far_.emplace(port_);
    } else {
      TcpSocket listener;
      listener.create(0, true);
      listener.listen(1);
      set("PortNumber", listener.localPort());
      set("IPAddress", "127.0.0.1");
      open();
      int error = 0;
      net_.until([&] {
        net_.clock.advance(1);
        auto accepted = listener.accept(error);
        if (accepted)
          far_.emplace(std::move(accepted->socket));
        return far_.has_value();
      });
    }
    events_.emplace(*control_);
    std::string first;
    happens(first, false);
  }

  /// Takes a step; what it brings, for which it waits.
  std::string act(const std::string &step, const std::string &expected) {
    const std::string rest = step.substr(std::min(step.size(), step.find(' ') + 1));
    std::string happened;
    if (step.starts_with("+"))
      net_.clock.advance(static_cast<uint32_t>(std::stoi(step)));
    else if (step.starts_with("far "))
      toFar(fromHex(rest));
    else if (step.starts_with("send "))
      EXPECT_EQ(control_->call("Send", std::vector<Variant>{rest}).value, Variant(true));
    else if (step == "say")
      say();
    else if (step == "fill")
      systemFiles().append(folder_ / "first.log", std::string(2000, ' '));
    else if (step == "files" || step.starts_with("holds "))
      return logs(step == "files" ? "" : rest);
    else if (step == "second")
      second_.emplace(port_);
    else if (step == "hang up")
      far_.reset();
    else
      set(step.substr(0, step.find('=')), value(step.substr(step.find('=') + 1)));
    happens(happened, true, expected);
    return happened;
  }

private:
  void set(const std::string &name, const Variant &value) {
    EXPECT_TRUE(control_->set(name, value)) << name;
  }
  std::string value(std::string text) const {
    return text.starts_with("@") ? folder_ / text.substr(2) : text;
  }
  void open() { set(isGem_ ? "PhysicalConnection" : "Connect", true); }
  void toFar(const Bytes &bytes) {
    if (line_)
      line_->send(bytes);
    else
      far_->send(ByteView(bytes));
  }
  void say() {
    if (isGem_)
      control_->call("WriteLogFile", std::vector<Variant>{"text"});
    else
      control_->call("Send", std::vector<Variant>{"00008101000100000007"});
    quiet_ = true;
  }
  std::string logs(const std::string &text) const {
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder_ / ""))
      if (systemFiles().read(entry.path()).value_or("").find(text) != std::string::npos)
        names.insert(entry.path().filename());
    std::string all;
    for (const std::string &name : names)
      all += (all.empty() ? "" : " ") + name;
    return all;
  }

  void run(int turns) {
    for (int i = 0; i < turns; ++i) {
      net_.clock.advance(i % 4 == 3 ? 1 : 0);
      net_.loop.runOnce(1);
    }
  }
  // Lets a little time pass until it is `expected`, or for so long that nothing more can be
  // expected.
  void happens(std::string &happened, bool keep, const std::string &expected = "") {
    std::string events;
    std::string written;
    const int turns = expected.empty() ? 10 : 500;
    for (int i = 0; i < turns && (expected.empty() || happened != expected); ++i) {
      net_.clock.advance(i % 4 == 3 ? 1 : 0);
      net_.loop.runOnce(1);
      for (const std::string &line : events_->take())
        if (const std::string text = brief(line); !text.empty())
          events += (events.empty() ? "" : ", ") + text;
      if (!isGem_ && (line_ || far_))
        written += toHex(line_ ? line_->read() : far_->read());
      happened = events + (events.empty() || written.empty() ? "" : ", ") +
                 (written.empty() ? "" : "> " + written);
    }
    if (!keep || std::exchange(quiet_, false))
      happened.clear();
  }

  // An event without the peer's address; of the equipment, without its states.
  std::string brief(const std::string &line) const {
    std::istringstream words(line);
    std::string name;
    std::string word;
    words >> name;
    if (isGem_)
      return name == "Received" || name == "Sent" ? name
             : name == "Problem" && words >> word ? name + " " + word
                                                  : "";
    std::string text = name;
    while (words >> word) {
      if (word == "127.0.0.1")
        words >> word;
      else
        text += " " + word;
    }
    return text;
  }

  Network net_;
  TemporaryDirectory folder_;
  std::unique_ptr<Control> control_;
  bool isGem_;
  int32_t port_ = 0;
  bool quiet_ = false; // what the step brings is of no interest
  std::optional<PtyLine> line_;
  std::optional<RawClient> far_;
  std::optional<RawClient> second_;
  std::optional<EventLines> events_;
};

struct Link {
  const char *control;
  Role role;
  std::vector<const char *> tables;
  bool secsI = false; // of the equipment
};

TEST(SettingsOfLinks, CountWhileTheLinkIsIdle) {
  const Link links[] = {
      {"VeltoSecsI", Role::Serial, {"SecsI", "VeltoSecsI", "Log", "Name"}},
      {"VeltoSecsISocket", Role::Listener, {"SecsI", "VeltoSecsISocket", "Log", "Name"}},
      {"VeltoSecsISocket", Role::Client, {"SecsI"}},
      {"VeltoHsms", Role::Client, {"VeltoHsms", "Log", "Name"}},
      {"VeltoGem", Role::Listener, {"VeltoGem", "Log"}},
      {"VeltoGem", Role::Client, {"VeltoGem client"}},
      {"VeltoGem", Role::Listener, {"VeltoGem over SECS-I"}, true},
  };
  std::set<std::string> covered;
  for (const Link &link : links) {
    for (const char *table : link.tables) {
      for (const TableRow &row : tableOf("controls/settings_in_force.txt", table)) {
        covered.insert(std::string(link.control) + "." + row[0]);
        SCOPED_TRACE(link.control + std::string(" as ") + std::to_string(int(link.role)) + ": " +
                     row[0]);
        OpenLink open(link.control, link.role, link.secsI);
        for (size_t i = 1; i < row.cells.size(); i += 2)
          EXPECT_EQ(open.act(row[i], row[i + 1]), row[i + 1]) << row[i];
      }
    }
  }
  for (const TableRow &row : tableOf("controls/settings_in_force.txt", "NextOpening")) {
    for (size_t i = 1; i < row.cells.size(); ++i)
      covered.insert(row[0] + "." + row[i]);
    for (const MemberTable *table : controlTables())
      for (const Member &member : table->members)
        if (table->controlName == row[0] && member.persisted && member.id > 0) {
          EXPECT_TRUE(covered.contains(row[0] + "." + member.name)) << row[0] << "." << member.name;
        }
  }
}

} // namespace
} // namespace velto
