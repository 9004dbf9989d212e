// The controls as the scripts of a host drive them: by name, in controls/*.txt. Time is virtual, a
// millisecond each turn of the loop, and the files are those of a fresh folder.
#include "apps/cases.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/container/container.h"
#include "controls/registry.h"
#include "gem/data/data_file.h"
#include "gem/model_text/model_text.h"
#include "support/temporary_directory.h"
#include "transport/network.h"

#include <filesystem>
#include <regex>
#include <sstream>

namespace velto {
namespace {

/// The working folder, and the place of the user's settings, for a while.
class WorkingFolder {
public:
  WorkingFolder() {
    std::filesystem::current_path(folder_ / "");
    setenv("XDG_CONFIG_HOME", (folder_ / "").c_str(), 1);
  }
  ~WorkingFolder() {
    std::filesystem::current_path(before_);
    unsetenv("XDG_CONFIG_HOME");
  }
  WorkingFolder(const WorkingFolder &) = delete;
  WorkingFolder &operator=(const WorkingFolder &) = delete;

private:
  std::filesystem::path before_ = std::filesystem::current_path();
  TemporaryDirectory folder_;
};

class ControlScripts : public testing::TestWithParam<const char *> {
protected:
  /// Runs a script; what it prints. "# file NAME TEXT" writes a file before, "# show NAME" prints
  /// one behind the rest. $port is a free port; other ports of this machine are shown as N, times
  /// of logs as T. What comes before the last "----" is not shown.
  static std::string outputOf(const std::string &script) {
    const WorkingFolder folder;
    ManualClock clock;
    EventLoop loop(clock);
    std::function<void()> tick = [&] {
      clock.advance(1);
      loop.post(tick);
    };
    tick();
    prepareStations();
    const std::vector<std::string> shown = prepareFiles(script);
    systemFiles().write("script", "let port = " + std::to_string(freePort()) + '\n' + script);
    std::ostringstream out;
    Container container(loop, systemFiles(), out, out, createControl);
    container.runFiles({"script"});
    for (const std::string &name : shown)
      out << name << ": " << quotedText(systemFiles().read(name).value_or("none")) << '\n';
    static const std::regex port("(\"127.0.0.1\", |127.0.0.1 \\(|Port Number : )[0-9]{5}");
    static const std::regex time("1970/01/01 00:00:[0-9.]+");
    std::string text = std::regex_replace(out.str(), port, "$1N");
    text = std::regex_replace(text, time, "T");
    std::erase(text, '\r');
    const size_t mark = text.rfind("----\n");
    return mark == std::string::npos ? text : text.substr(mark + 5);
  }

private:
  // What the scripts include, and the files of the stations that are made there.
  static void prepareStations() {
    for (const char *name : {"equipment", "line", "listener", "pair", "ranges"})
      systemFiles().write(name, stored("controls/" + std::string(name) + ".velto"));
    for (const char *station : {"eq", "host"}) {
      ModelTextError error;
      const auto model =
          modelFromText(stored("controls/" + std::string(station) + ".model"), error);
      ASSERT_TRUE(model) << error.line << error.reason;
      systemFiles().write(std::string(station) + ".kel", storeGemData(*model));
    }
    systemFiles().write("eq.ini", "[LogicalConnection]\nHost=0\n");
    systemFiles().write("host.ini", "[LogicalConnection]\nHost=1\n");
  }
  static std::vector<std::string> prepareFiles(const std::string &script) {
    std::istringstream lines(script);
    std::vector<std::string> shown;
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string mark;
      std::string verb;
      std::string name;
      std::string text;
      std::string problem;
      words >> mark >> verb >> name;
      std::getline(words >> std::ws, text);
      if (mark == "#" && verb == "file")
        systemFiles().write(name, unquotedText(text, problem).value_or(problem));
      if (mark == "#" && verb == "show")
        shown.push_back(name);
    }
    return shown;
  }
};

TEST_P(ControlScripts, PrintWhatIsStored) {
  const std::string name = std::string(GetParam()) + ".txt";
  std::string printed;
  for (const auto &[title, script, expected] : storedCases("controls/" + name)) {
    const std::string output = outputOf(script);
    EXPECT_EQ(output, expected) << title;
    printed += "=== " + title + '\n' + script + "---\n" + output + '\n';
  }
  if (HasFailure())
    systemFiles().write(VELTO_BINARY_DIR "/" + name, printed);
}

INSTANTIATE_TEST_SUITE_P(Of, ControlScripts,
                         testing::Values("gem", "gem_events", "hsms", "log", "secsi", "secsii"),
                         [](const auto &name) { return std::string(name.param); });

} // namespace
} // namespace velto
