#include "apps/velto/container/container.h"

#include "apps/cases.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/console/member_text.h"
#include "apps/velto/script/parser.h"
#include "support/sample_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <unistd.h>

namespace velto {
namespace {

using testing::HasSubstr;

/// Files that exist in memory alone.
class MemoryFiles final : public FileSystem {
public:
  std::optional<std::string> read(const std::string &path) override {
    const auto found = files.find(path);
    return found == files.end() ? std::nullopt : std::optional(found->second);
  }
  std::map<std::string, std::string> files;
};

/// A container whose clock advances by a millisecond each turn of the loop.
struct Session {
  Session() { tick(); }

  void tick() {
    clock.advance(1);
    loop.post([this] { tick(); });
  }

  ManualClock clock;
  EventLoop loop{clock};
  MemoryFiles files;
  std::ostringstream out;
  std::ostringstream err;
  Container container{loop, files, out, err, [](std::string_view name, const ControlSite &site) {
                        return name == "Sample" ? std::make_unique<CSampleCtrl>(site) : nullptr;
                      }};
};

TEST(Container, RunsScripts) {
  for (const auto &[title, script, expected] : storedCases("scripts.txt")) {
    Session session;
    session.files.files = {
        {"dir/main", "new s Sample\n" + script}, {"dir/lib", "print \"lib\" $x\nlet x = 2\n"},
        {"dir/bad", "print 1\nfoo\nprint 2\n"},  {"dir/quits", "quit\n"},
        {"/abs", "include dir/inner"},           {"/dir/inner", "print \"inner\""},
    };
    const int status = session.container.runFiles({"dir/main"});
    EXPECT_EQ(session.out.str() + session.err.str(), expected) << title;
    EXPECT_EQ(status, session.err.str().empty() ? 0 : 1) << title;
  }
}

// The file holds each line with the reason below it.
TEST(Container, RefusesBadLines) {
  std::istringstream rows(stored("bad_lines.txt"));
  for (std::string line, reason; std::getline(rows, line) && std::getline(rows, reason);) {
    Session session;
    session.files.files["f"] = "new s Sample\n" + line;
    EXPECT_EQ(session.container.runFiles({"f"}), 1) << line;
    EXPECT_EQ(session.err.str(), "error: f:2: " + reason.substr(4) + '\n');
    EXPECT_EQ(session.out.str(), "");
  }
}

TEST(Container, KnowsBytesThatAreNoText) {
  Session session;
  session.files.files["f"] = "   \r\n\t# nothing\r\nprint 1\r\nprint \x01";
  EXPECT_EQ(session.container.runFiles({"f"}), 1);
  EXPECT_EQ(session.out.str(), "1\n");
  EXPECT_EQ(session.err.str(), "error: f:4: unexpected character \"\\x01\"\n");
}

TEST(Container, BoundsNesting) {
  std::string calls, handlers;
  for (int i = 0; i < 100000; ++i) {
    calls += "s.Add(";
    handlers += "on s.Changed ";
  }
  const struct {
    std::string text;
    const char *reason;
  } kRows[] = {
      {calls, "f:2: calls nest too deeply"},
      {handlers, "f:2: handlers nest too deeply"},
      {"on s.Changed s.Raise($1)\ns.Raise(\"x\")", "f:2: handlers nest too deeply"},
      {"include f2", "f2:1: files nest too deeply"},
  };
  for (const auto &row : kRows) {
    Session session;
    session.files.files = {{"f", "new s Sample\n" + row.text}, {"f2", "include f2"}};
    EXPECT_EQ(session.container.runFiles({"f"}), 1);
    EXPECT_EQ(session.err.str(), std::string("error: ") + row.reason + '\n');
  }
}

// A line cut short anywhere is an error or a command, never a crash, and an error is one line.
TEST(Container, SurvivesAnyCut) {
  for (const Case &script : storedCases("scripts.txt")) {
    for (size_t cut = 0; cut < script.input.size(); ++cut) {
      Session session;
      Timer limit(session.loop, [&session] { session.container.quit(); });
      limit.start(200);
      session.files.files["f"] = "new s Sample\n" + script.input.substr(0, cut);
      const int status = session.container.runFiles({"f"});
      const std::string err = session.err.str();
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), status) << err;
      EXPECT_EQ(err.starts_with("error: f:"), status == 1) << err;
    }
  }
}

TEST(Container, PrintsTextAsItReadsIt) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte)
    bytes += static_cast<char>(byte);
  std::string problem;
  const std::string literal = quotedText(bytes);
  EXPECT_EQ(unquotedText(literal.substr(1, literal.size() - 2), problem), bytes);

  Session session;
  session.files.files["f"] = "new s Sample\ns.Title = " + literal + "\ns.Title";
  EXPECT_EQ(session.container.runFiles({"f"}), 0);
  EXPECT_EQ(session.out.str(), "= " + literal + '\n');
}

TEST(Container, FlushesEachLine) {
  struct Buffer : std::stringbuf {
    int sync() override {
      flushed.push_back(str());
      return 0;
    }
    std::vector<std::string> flushed;
  } buffer;
  std::ostream out(&buffer);
  TextFrontEnd frontEnd(out, out);
  frontEnd.messageBox("a");
  PropertySheet sheet;
  sheet.title = "T";
  EXPECT_FALSE(frontEnd.showSheet(sheet));
  EXPECT_THAT(buffer.flushed, testing::ElementsAre("[box] a\n", "[box] a\n[sheet] T\n",
                                                   "[box] a\n[sheet] T\n[cancel]\n"));
}

/// A sheet with a field of each kind, and a list whose dialog takes the names that are not there.
struct EachKind {
  explicit EachKind(FrontEnd &frontEnd) {
    sheet.title = "T\n";
    sheet.pages.resize(2);
    sheet.pages[0].title = "P";
    sheet.pages[0].choice("Mode", "Works as", "host", {"host", "equipment"});
    sheet.pages[0].text("Note", "Note", "two\r\nlines");
    sheet.pages[0].label("", "Only to read");
    sheet.pages[1].title = "L";
    PageList &list = sheet.pages[1].list.emplace();
    list.view = {{"Name", "Size"}, {{"a", "1"}, {"bb", "2"}}};
    list.add = [&list, &frontEnd] {
      PropertySheet dialog;
      dialog.title = "New";
      dialog.pages.emplace_back().text("Name", "Name", "c");
      dialog.check = [&list](const PropertySheet &typed) {
        for (const auto &row : list.view.rows)
          if (row[0] == typed.pages[0].fields[0].value)
            return "there is a " + row[0];
        return std::string();
      };
      if (!frontEnd.showSheet(dialog))
        return;
      list.view.rows.push_back({dialog.value("Name"), "0"});
      list.selected = list.view.rows.size() - 1;
    };
    list.remove = [&list, &frontEnd](size_t row) {
      if (frontEnd.showBox({"Really?", "Sure", MessageBox::Icon::Question, true}))
        list.view.rows.erase(list.view.rows.begin() + static_cast<std::ptrdiff_t>(row));
      list.selected = 0;
    };
  }
  PropertySheet sheet;
};

std::vector<AnswerStep> stepsOf(const std::string &line) {
  const auto textOf = [](const script::Operand &value) {
    return std::get<Variant>(value.form).text();
  };
  std::vector<AnswerStep> steps;
  for (const script::AnswerStepText &written : script::parseSteps(line).steps) {
    AnswerStep &step = steps.emplace_back();
    step.kind = written.kind;
    step.cancel = written.cancel;
    step.name = written.name ? textOf(*written.name) : "";
    for (const auto &[field, value] : written.fields)
      step.fields.emplace_back(field, textOf(value));
  }
  return steps;
}

// Each title holds the steps of an answer; below is what is printed behind the sheet as it opens.
TEST(FrontEnd, AnswersSheetsDialogsAndBoxesStepByStep) {
  for (const auto &[answer, expected, none] : storedCases("answers.txt")) {
    std::ostringstream out;
    TextFrontEnd frontEnd(out, out);
    EachKind shown(frontEnd);
    std::string failure;
    frontEnd.queueAnswer({stepsOf(answer), [&failure](const std::string &reason, size_t step) {
                            failure =
                                "failed at step " + std::to_string(step) + ": " + reason + '\n';
                          }});
    const bool accepted = frontEnd.showSheet(shown.sheet);
    EXPECT_EQ(accepted, failure.empty()) << answer;
    out << "Mode " << shown.sheet.value("Mode") << ", "
        << shown.sheet.pages[1].list->view.rows.size() << " rows\n"
        << failure;
    EXPECT_EQ(out.str(), "[sheet] T\\n\n[page] P\n  Works as: host\n"
                         "  Note: two\\r\\nlines\n  Only to read\n"
                         "[page] L\n  Name  Size\n> a     1\n  bb    2\n" +
                             expected)
        << answer;
  }
}

TEST(Container, RunsFilesInOrderWithOneSetOfControls) {
  Session session;
  session.files.files = {{"a", "new s Sample\nlet x = 1"}, {"b", "s.Count\nprint $x\nquit"}};
  EXPECT_EQ(session.container.runFiles({"a", "b", "missing"}), 0);
  EXPECT_EQ(session.out.str(), "= 3\n1\n");

  Session broken;
  EXPECT_EQ(broken.container.runFiles({"missing"}), 1);
  EXPECT_EQ(broken.err.str(), "error: missing:0: cannot read the file\n");
}

TEST(Container, DescribesAControl) {
  Session session;
  session.files.files["f"] = "new s Sample\ndescribe s\n";
  session.container.runFiles({"f"});
  const CSampleCtrl sample(session.loop);
  const std::string text = describe(sample.members());
  EXPECT_EQ(session.out.str(), text);
  EXPECT_THAT(text, testing::StartsWith("Sample (CSampleCtrl)\nA control to try things with.\n"
                                        "\nProperties\nId "));
  for (const char *part :
       {"\nMethods\n", "\nEvents\n", "Slot(lIndex int32)", "Add(lA int32, lB int32)",
        "Changed(lpszText text, lCount int32)", "Idle()", "\"none\"",
        "Fill level. [SampleLevel mm]\n", "Something changed. [lCount: SampleLevel]\n",
        "\nSampleLevel: How full. Bits, of which any may be there together.\n"
        "Value  Name   Description\n0      Empty  Nothing.\n"})
    EXPECT_THAT(text, HasSubstr(part));

  const std::string markdown = describeMarkdown(sample.members());
  for (const char *part :
       {"## Sample\n\nClass `CSampleCtrl`. A control to try things with.\n",
        "\n### Properties\n\n| Id | Name | Type | Default | Access | Description |\n"
        "| --- | --- | --- | --- | --- | --- |\n"
        "| 1 | Count | int32 | 3 | rw | Number of items. [0 to 100] |\n",
        "| 5 | Title | text | \"none\" | rw | What it is called. |\n",
        "| 6 | Size | int32 | | ro | Number of filled slots. |\n",
        "| 7 | Slot(lIndex int32) | text | | rw | Text of a slot \\| by index. |\n",
        "\n### Events\n\n| Id | Name | Description |\n"})
    EXPECT_THAT(markdown, HasSubstr(part));
  const MemberTable *const tables[] = {&sample.members()};
  const std::string enumerations = enumerationsMarkdown(tables);
  EXPECT_THAT(enumerations,
              testing::StartsWith("## Enumerations\n\n### SampleLevel\n\nHow full. "));
  for (const char *part : {"| 1 | Some | A bit \\| more. |\n", "\n[SampleLevel]: #samplelevel\n"})
    EXPECT_THAT(enumerations, HasSubstr(part));
}

/// A container at the reading end of a pipe.
struct TypedSession : Session {
  TypedSession() { EXPECT_EQ(pipe(ends.data()), 0); }
  ~TypedSession() {
    close(ends[0]);
    hangUp();
  }
  void type(std::string_view text) {
    EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void hangUp() {
    if (ends[1] >= 0)
      close(std::exchange(ends[1], -1));
  }
  std::array<int, 2> ends{-1, -1};
};

TEST(Interactive, GoesOnAfterErrorsToTheEndOfTheInput) {
  TypedSession terminal;
  terminal.files.files["bad"] = "print 1\nfoo\nprint 2\n";
  terminal.type("new s Sample\nfoo\non s.Changed bar.x\ns.Raise(\"x\")\ninclude bad\nprint 3");
  terminal.hangUp();
  EXPECT_EQ(terminal.container.runInteractive(terminal.ends[0]), 0);
  EXPECT_EQ(terminal.out.str(), "! s.Changed \"x\", 3\n1\n3\n");
  EXPECT_EQ(terminal.err.str(), "error: -:2: unknown command foo\n"
                                "error: -:3: there is no control bar\n"
                                "error: bad:2: unknown command foo\n");
}

TEST(Interactive, HandlesEventsWhileItWaitsForInput) {
  TypedSession terminal;
  Timer typing(terminal.loop, [&terminal] { terminal.type("int 2\nquit\nprint 3\n"); });
  typing.start(50);
  terminal.type("new s Sample\non s.Changed wait 10; print \"handled\"\ns.Later(20, \"x\")\npr");
  EXPECT_EQ(terminal.container.runInteractive(terminal.ends[0]), 0);
  EXPECT_EQ(terminal.out.str(), "! s.Changed \"x\", 3\nhandled\n2\n");
}

TEST(Interactive, ReadsWhatALoopCannotWatchAndEndsFromOutside) {
  Session session;
  FILE *file = tmpfile();
  ASSERT_NE(file, nullptr);
  fputs("print 1\nwait\nprint 2\n", file);
  rewind(file);
  Timer interrupt(session.loop, [&session] { session.container.quit(); });
  interrupt.start(20);
  EXPECT_EQ(session.container.runInteractive(fileno(file)), 0);
  EXPECT_EQ(session.out.str(), "1\n");
  fclose(file);
}

} // namespace
} // namespace velto
