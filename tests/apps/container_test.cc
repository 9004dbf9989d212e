#include "apps/velto/container/container.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/console/member_text.h"
#include "support/sample_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <span>
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

struct Script {
  const char *name;
  const char *text;
  const char *out;
  const char *err = ""; ///< empty: the script succeeds
};

void PrintTo(const Script &script, std::ostream *stream) { *stream << script.name; }

class ScriptTest : public testing::TestWithParam<Script> {};

TEST_P(ScriptTest, PrintsExactly) {
  Session session;
  session.files.files = {
      {"dir/main", std::string("new s Sample\n") + GetParam().text},
      {"dir/lib", "print \"lib\" $x\nlet x = 2\n"},
      {"dir/bad", "print 1\nfoo\nprint 2\n"},
      {"dir/quits", "quit\n"},
      {"/abs", "include dir/inner"},
      {"/dir/inner", "print \"inner\""},
  };
  const int status = session.container.runFiles({"dir/main"});
  EXPECT_EQ(session.out.str(), GetParam().out);
  EXPECT_EQ(session.err.str(), GetParam().err);
  EXPECT_EQ(status, *GetParam().err == '\0' ? 0 : 1);
}

std::string caseName(const testing::TestParamInfo<Script> &info) { return info.param.name; }

const Script kValues[] = {
    {"Blank", "\n   \r\n\t# nothing\n", ""},
    {"ReadWrite", "s.Count\ns.count = 5 # five\ns.COUNT\ns.Slot(2) = \"a\"\ns.Slot(2)\ns.Size\r\n",
     "= 3\n= 5\n= \"a\"\n= 1\n"},
    {"Literals",
     "s.Title = \"\\r\\n\\t\\\"\\\\\\x7f\\xE9#;\"\ns.Title\ns.Ratio = -1.5e-1\ns.Ratio\n"
     "s.Enabled = false\ns.Enabled\ns.Level = +7\ns.Level\ns.Ratio = 2\ns.Ratio\n",
     "= \"\\r\\n\\t\\\"\\\\\\x7f\\xe9#;\"\n= -0.15\n= false\n= 7\n= 2\n"},
    {"Calls", "s.Add(1, s.Add(s.Count, -1))\ns.Add( \"4\",5 )\n", "= 3\n= 9\n"},
    {"Variables", "let x = s.Count\ns.Count = 9\nprint \"was\" $x \"is\" s.Count true\nprint\n",
     "was 3 is 9 true\n\n"},
    {"PrintIsPlain", "print \"a\\\"b\" 1.50", "a\"b 1.5\n"},
    {"ExpectHolds",
     "expect s.Count == 3\nexpect s.Count == \"3.0\"\nexpect \"3\" != \"3.0\"\nexpect true != 1\n"
     "expect \"abc\" ~ \"b\"\nexpect 1.0 == 1\nexpect 3 != \"three\"",
     ""},
    {"ExpectEqual", "expect s.Title == \"a\\n\"\nprint 1", "",
     "error: dir/main:2: expected \"none\" == \"a\\n\"\n"},
    {"ExpectDiffers", "expect 3 != \" 3 \"", "", "error: dir/main:2: expected 3 != \" 3 \"\n"},
    {"ExpectContains", "expect s.Title ~ \"x\"", "",
     "error: dir/main:2: expected \"none\" ~ \"x\"\n"},
    {"Delete", "delete s\nnew s Sample\ns.Count\ndelete s\ns.Count", "= 3\n",
     "error: dir/main:6: there is no control s\n"},
    {"Show", "show s\ns.Title = \"\"\nshow s\n", "Sample none\n"},
    {"Boxes", "s.Tell(\"one\\r\\ntwo \\\"x\\\"\")\ns.AboutBox()\n",
     "[box] one\\r\\ntwo \"x\"\n[box] Sample 0.1.0\n"},
    {"KeywordsAsNames", "new on Sample\non.Count\non on.Idle print 1\ndelete on\n", "= 3\n"},
    {"Include", "let x = 1\ninclude lib\nprint $x\ninclude \"lib\" # again\ninclude /abs\n",
     "lib 1\n2\nlib 2\ninner\n"},
    {"IncludeFails", "include bad\nprint 3", "1\n", "error: dir/bad:2: unknown command foo\n"},
    {"Quit", "print 1\ninclude quits\nprint 2", "1\n"},
};

const Script kEvents[] = {
    {"EventPrints", "s.Raise(\"a\\xff\")\n", "! s.Changed \"a\\xff\", 3\n"},
    {"Handlers",
     "on s.Changed print $1 $lCount; s.Count = 4\non s.changed s.Count\ns.Raise(\"x\")\n"
     "off s.Changed\ns.Raise(\"y\")\n",
     "! s.Changed \"x\", 3\nx 3\n= 4\n! s.Changed \"y\", 4\n"},
    {"ArgumentsEndWithTheHandler", "on s.Changed let y = $lpszText\ns.Raise(\"x\")\nprint $y $1",
     "! s.Changed \"x\", 3\n", "error: dir/main:4: there is no variable $1\n"},
    {"HandlerReplacesItself",
     "on s.Changed off s.Changed; on s.Changed print \"second\"\non s.Changed print \"no\"\n"
     "s.Raise(\"x\")\ns.Raise(\"y\")\n",
     "! s.Changed \"x\", 3\n! s.Changed \"y\", 3\nsecond\n"},
    {"HandlerDeletesItsControl",
     "on s.Changed delete s; print \"gone\" $1\non s.Changed print \"no\"\ns.Raise(\"x\")\n"
     "s.Count\n",
     "! s.Changed \"x\", 3\ngone x\n", "error: dir/main:5: there is no control s\n"},
    {"ArgumentDeletesTheControl", "on s.Changed delete s\ns.Tell(s.Raise(\"x\"))\n",
     "! s.Changed \"x\", 3\n", "error: dir/main:3: s.Raise gives no value\n"},
    {"HandlerFails", "on s.Changed print 1; s.Nothing; print 2\n\ns.Raise(\"x\")\nprint 3",
     "! s.Changed \"x\", 3\n1\n", "error: dir/main:2: Sample has no member Nothing\n"},
    {"HandlerQuits", "on s.Changed quit; print 1\ns.Later(5, \"x\")\nwait\nprint 2\n",
     "! s.Changed \"x\", 3\n"},
    {"WaitTime", "s.Later(20, \"x\")\nwait 10\nprint 1\nwait 20\n", "1\n! s.Changed \"x\", 3\n"},
    {"WaitEvent", "on s.Changed print \"handled\"\ns.Later(20, \"x\")\nwait s.Changed\nprint 1\n",
     "! s.Changed \"x\", 3\nhandled\n1\n"},
    {"WaitCountsNewEventsOnly", "s.Raise(\"x\")\nwait s.Changed 50", "! s.Changed \"x\", 3\n",
     "error: dir/main:3: s.Changed did not come within 50 ms\n"},
    {"WaitHasADefaultLimit", "wait s.idle", "",
     "error: dir/main:2: s.Idle did not come within 5000 ms\n"},
    {"WaitForADeletedControl",
     "on s.Changed delete s; new s Sample\ns.Later(5, \"x\")\nwait s.Idle",
     "! s.Changed \"x\", 3\n", "error: dir/main:4: s was deleted before s.Idle came\n"},
    {"NestedWaits",
     "new t Sample\non s.Changed wait t.Changed 100; print \"inner\"\ns.Later(5, \"x\")\n"
     "t.Later(20, \"y\")\nwait s.Changed\nprint \"outer\"\n",
     "! s.Changed \"x\", 3\n! t.Changed \"y\", 3\ninner\nouter\n"},
    {"Every", "every 10 s.Count = s.Add(s.Count, 1); s.Count\nwait 35\n", "= 4\n= 5\n= 6\n"},
    {"EverySkipsWhileItWaits", "every 10 print 1; wait 25\nwait 55\n", "1\n1\n"},
    {"Ramp",
     "ramp s.Ratio 1 -1 0.4\ns.Ratio\nwait 250\ns.Ratio\nwait 200\ns.Ratio\ns.Ratio = 9\n"
     "wait 200\ns.Ratio\n",
     "= 1\n= 0\n= -1\n= 9\n"},
    {"RampOfWholeNumbers", "ramp s.Count 0 5 1\nwait 350\ns.Count\nramp s.Count 7 7 0\ns.Count\n",
     "= 2\n= 7\n"},
    {"RampReplacesRamp",
     "ramp s.Slot(1) 0 10 1\nramp s.Slot(2) 0 10 1\nwait 50\nramp s.slot(1) \"100\" 100 10\n"
     "wait 250\ns.Slot(1)\ns.Slot(2)\n",
     "= \"100\"\n= \"3\"\n"},
    {"RampFails", "ramp s.Ratio 0 1 1\ndelete s\nwait\n", "",
     "error: dir/main:2: there is no control s\n"},
    {"EveryFails", "every 10 foo.x\nwait\n", "", "error: dir/main:2: there is no control foo\n"},
};

const Script kSheets[] = {
    {"SheetIsCancelled", "s.Setup()\n",
     "[sheet] Sample Setup\n[page] General\n  Number of items: 3\n  In use: true\n[page] Names\n"
     "  Title: none\n[cancel]\n= false\n"},
    {"SheetIsAnswered",
     "let n = 7\nanswer count = $n; In use = false; \"Title\" = \"a;b\"; ok\nanswer Count = 50; "
     "cancel\ns.Setup()\nprint s.Count s.Enabled s.Title\non s.Changed answer ok; s.Setup()\n"
     "s.Title = \"\"\ns.Setup()\ns.Raise(\"\")\n",
     "[sheet] Sample Setup\n[page] General\n  Number of items: 3\n  In use: true\n[page] Names\n"
     "  Title: none\n[ok]\n= true\n7 false a;b\n"
     "[sheet] Sample Setup\n[page] General\n  Number of items: 7\n  In use: false\n[page] Names\n"
     "  Title:\n[cancel]\n= false\n! s.Changed \"\", 7\n"
     "[sheet] Sample Setup\n[page] General\n  Number of items: 7\n  In use: false\n[page] Names\n"
     "  Title:\n[ok]\n= true\n"},
    {"SheetLacksTheField", "answer Color = red; ok\n\ns.Setup()\n",
     "[sheet] Sample Setup\n[page] General\n  Number of items: 3\n  In use: true\n[page] Names\n"
     "  Title: none\n[cancel]\n",
     "error: dir/main:2: Sample Setup has no field Color\n"},
    {"SheetRefusesTheValue", "answer Count = 101; ok\ns.Setup()\n",
     "[sheet] Sample Setup\n[page] General\n  Number of items: 3\n  In use: true\n[page] Names\n"
     "  Title: none\n[box stop] Error: Number of items takes a number from 0 to 100, not \"101\".\n"
     "[cancel]\n",
     "error: dir/main:2: Number of items takes a number from 0 to 100, not \"101\".\n"},
    {"SheetIsAnsweredAgain",
     "answer Count = 101; ok; again Count = -1, Title = \"x\"; ok; again Count = 100; page names; "
     "ok\ns.Setup()\nprint s.Count s.Title\n",
     "[sheet] Sample Setup\n[page] General\n  Number of items: 3\n  In use: true\n[page] Names\n"
     "  Title: none\n[box stop] Error: Number of items takes a number from 0 to 100, not \"101\".\n"
     "[box stop] Error: Number of items takes a number from 0 to 100, not \"-1\".\n"
     "[page] Names\n  Title: x\n[ok]\n= true\n100 x\n"},
};

INSTANTIATE_TEST_SUITE_P(Values, ScriptTest, testing::ValuesIn(kValues), caseName);
INSTANTIATE_TEST_SUITE_P(Events, ScriptTest, testing::ValuesIn(kEvents), caseName);
INSTANTIATE_TEST_SUITE_P(Sheets, ScriptTest, testing::ValuesIn(kSheets), caseName);

TEST(Container, RefusesBadLines) {
  const struct {
    const char *line;
    const char *reason;
  } kRows[] = {
      {"foo", "unknown command foo"},
      {"= 1", "command expected, not ="},
      {"print 1; print 2", "end of line expected, not ;"},
      {"new t", "kind of control is missing"},
      {"new s Sample", "there is a control s already"},
      {"new t Nothing", "unknown kind of control Nothing"},
      {"delete t", "there is no control t"},
      {"show t", "there is no control t"},
      {"describe 1", "name of a control expected, not 1"},
      {"ramp 1 2 3 4", "property expected, not 1"},
      {"ramp s.Count 1 2", "value is missing"},
      {"ramp s.Count 1 \"x\" 2", "\"x\" is no number"},
      {"ramp s.Count 1 2 -1", "-1 is no time in seconds"},
      {"s.", "name of a member is missing"},
      {"s.Add", "Add is a method and needs parentheses"},
      {"s.Changed", "Changed is an event"},
      {"s.Add(1", "\",\" or \")\" is missing"},
      {"s.Add(1 2)", "\",\" or \")\" expected, not 2"},
      {"s.Add(1,)", "value expected, not )"},
      {"s.Add(1)", "Add takes 2 arguments, not 1"},
      {"s.Size = 1", "Size is read only"},
      {"s.Count = \"x\"", "Count must be int32"},
      {"s.Count = ", "value is missing"},
      {"let 5 = 1", "name of a variable expected, not 5"},
      {"print \"abc", "closing quote is missing"},
      {"print \"abc\\", "closing quote is missing"},
      {"print \"\\q\"", "unknown escape \"\\\\q\""},
      {"print \"\\x1\"", "\\x needs two hexadecimal digits"},
      {"print 12ab", "12ab is no number"},
      {"print 99999999999999999999", "99999999999999999999 is out of range"},
      {"print 0x10", "0x10 is no number"},
      {"print \x01", "unexpected character \"\\x01\""},
      {"print ok", "value expected, not ok"},
      {"print $y", "there is no variable $y"},
      {"expect 1 = 1", "==, != or ~ expected, not ="},
      {"on s.Nothing print 1", "Sample has no event Nothing"},
      {"on s.Changed", "command is missing"},
      {"on s.Changed print 1; foo", "unknown command foo"},
      {"off t.Changed", "there is no control t"},
      {"every -1 print 1", "-1 is no time in milliseconds"},
      {"wait s", "\".\" is missing"},
      {"wait \"soon\"", "\"soon\" is no time in milliseconds"},
      {"answer Count = 1", "\";\" and ok or cancel is missing"},
      {"answer",
       "answer takes FIELD = VALUE, page, add, edit, delete or again, and ok or cancel at "
       "its end"},
      {"answer edit; ok", "row expected, not ;"},
      {"answer add A = 1, B; ok",
       "answer takes FIELD = VALUE, page, add, edit, delete or again, and "
       "ok or cancel at its end"},
      {"answer add A = 1 B = 2; ok; page x", "end of line expected, not ;"},
      {"answer ok; again A = 1", "\";\" and ok or cancel is missing"},
      {"answer Count = \"1; ok", "closing quote is missing"},
      {"include", "name of a file is missing"},
      {"include none", "cannot read none"},
      {"quit now", "end of line expected, not now"},
  };
  for (const auto &row : kRows) {
    Session session;
    session.files.files["f"] = std::string("new s Sample\n") + row.line;
    EXPECT_EQ(session.container.runFiles({"f"}), 1) << row.line;
    EXPECT_EQ(session.err.str(), std::string("error: f:2: ") + row.reason + '\n');
    EXPECT_EQ(session.out.str(), "");
  }
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
  for (const auto &scripts : {std::span<const Script>(kValues), std::span<const Script>(kEvents),
                              std::span<const Script>(kSheets)}) {
    for (const Script &script : scripts) {
      const std::string text = script.text;
      for (size_t cut = 0; cut < text.size(); ++cut) {
        Session session;
        Timer limit(session.loop, [&session] { session.container.quit(); });
        limit.start(200);
        session.files.files["f"] = "new s Sample\n" + text.substr(0, cut);
        const int status = session.container.runFiles({"f"});
        const std::string err = session.err.str();
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), status) << err;
        EXPECT_EQ(err.starts_with("error: f:"), status == 1) << err;
      }
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

TEST(FrontEnd, AnswersSheetsDialogsAndBoxesStepByStep) {
  using K = AnswerStep::Kind;
  const AnswerStep ok{K::Ok, "", {}, false};
  const AnswerStep list{K::Page, "l", {}, false};
  const struct {
    std::vector<AnswerStep> steps;
    const char *mode;
    size_t rows;
    const char *reason; // empty: accepted
    const char *out;    // behind the sheet as it opened
  } kRows[] = {
      {{{K::Fields, "", {{"Mode", "neither"}}, false}, ok},
       "neither",
       2,
       "1 Works as takes host or equipment, not \"neither\".",
       "[box stop] Error: Works as takes host or equipment, not \"neither\".\n"},
      {{{K::Fields, "", {{"Only to read", "x"}}, false}, ok},
       "host",
       2,
       "0 T\n has no field Only to read",
       ""},
      {{{K::Fields, "", {{"works as", "equipment"}}, false}, ok}, "equipment", 2, "", ""},
      {{{K::Page, "x", {}, false}, ok}, "host", 2, "0 T\n has no page x", ""},
      {{{K::Add, "", {}, false}, ok}, "host", 2, "0 page P has no list", ""},
      {{list, {K::Edit, "a", {}, false}, ok},
       "host",
       2,
       "1 page L offers no edit",
       "[page] L\n  Name  Size\n> a     1\n  bb    2\n"},
      {{list, {K::Delete, "x", {}, false}, ok},
       "host",
       2,
       "1 page L has no row x",
       "[page] L\n  Name  Size\n> a     1\n  bb    2\n"},
      {{{K::Again, "", {}, false}, ok},
       "host",
       2,
       "0 nothing was refused, so that nothing is answered again",
       ""},
      {{list, {K::Add, "", {{"Name", "bb"}}, false}, ok},
       "host",
       2,
       "1 there is a bb",
       "[page] L\n  Name  Size\n> a     1\n  bb    2\n[dialog] New\n  Name: c\n"
       "[box stop] Error: there is a bb\n[cancel]\n"},
      {{list,
        {K::Add, "", {{"Name", "bb"}}, false},
        {K::Again, "", {{"Name", "d"}}, false},
        {K::Delete, "A", {}, true},
        {K::Delete, "a", {}, false},
        {K::Add, "", {}, true},
        ok},
       "host",
       2,
       "",
       "[page] L\n  Name  Size\n> a     1\n  bb    2\n[dialog] New\n  Name: c\n"
       "[box stop] Error: there is a bb\n[dialog] New\n  Name: bb\n[ok]\n> d     0\n"
       "[box question] Sure: Really?\n[cancel]\n> a     1\n"
       "[box question] Sure: Really?\n[ok]\n> bb    2\n"
       "[dialog] New\n  Name: c\n[cancel]\n> bb    2\n"},
      {{list},
       "host",
       2,
       "1 the answer to T\n ends without ok or cancel",
       "[page] L\n  Name  Size\n> a     1\n  bb    2\n"},
  };
  for (const auto &row : kRows) {
    std::ostringstream out;
    TextFrontEnd frontEnd(out, out);
    EachKind shown(frontEnd);
    std::string reason;
    frontEnd.queueAnswer({row.steps, [&reason](const std::string &text, size_t step) {
                            reason = std::to_string(step) + ' ' + text;
                          }});
    const bool accepted = *row.reason == '\0';
    EXPECT_EQ(frontEnd.showSheet(shown.sheet), accepted);
    EXPECT_EQ(shown.sheet.value("Mode"), row.mode);
    EXPECT_EQ(shown.sheet.pages[1].list->view.rows.size(), row.rows);
    EXPECT_EQ(reason, row.reason);
    EXPECT_EQ(out.str(), std::string("[sheet] T\\n\n[page] P\n  Works as: host\n"
                                     "  Note: two\\r\\nlines\n  Only to read\n"
                                     "[page] L\n  Name  Size\n> a     1\n  bb    2\n") +
                             row.out + (accepted ? "[ok]\n" : "[cancel]\n"));
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
        "Changed(lpszText text, lCount int32)", "Idle()", "\"none\""})
    EXPECT_THAT(text, HasSubstr(part));

  const std::string markdown = describeMarkdown(sample.members());
  for (const char *part :
       {"## Sample\n\nClass `CSampleCtrl`. A control to try things with.\n",
        "\n### Properties\n\n| Id | Name | Type | Default | Access | Description |\n"
        "| --- | --- | --- | --- | --- | --- |\n"
        "| 1 | Count | int32 | 3 | rw | Number of items, 0 to 100. |\n",
        "| 5 | Title | text | \"none\" | rw | What it is called. |\n",
        "| 6 | Size | int32 | | ro | Number of filled slots. |\n",
        "| 7 | Slot(lIndex int32) | text | | rw | Text of a slot \\| by index. |\n",
        "\n### Events\n\n| Id | Name | Description |\n"})
    EXPECT_THAT(markdown, HasSubstr(part));
}

/// A container at the reading end of a pipe.
struct Terminal : Session {
  Terminal() { EXPECT_EQ(pipe(ends.data()), 0); }
  ~Terminal() {
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
  Terminal terminal;
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
  Terminal terminal;
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
