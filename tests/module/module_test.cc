// The C interface as a program meets it: nothing but velto.h and libvelto.so.
#include "module/values.h"

#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class Module : public testing::Test {
protected:
  ~Module() override { velto_loop_free(loop); }

  velto_control *make(const char *name) { return velto_create(loop, name); }
  std::string textProperty(velto_control *control, const char *name) {
    velto_value value{};
    EXPECT_EQ(velto_get(control, name, nullptr, 0, &value), VELTO_OK) << velto_last_error();
    return textOf(value);
  }
  int64_t number(velto_control *control, const char *name) {
    velto_value value{};
    EXPECT_EQ(velto_get(control, name, nullptr, 0, &value), VELTO_OK) << velto_last_error();
    return value.integer;
  }
  bool runUntil(const std::function<bool()> &done) {
    for (int i = 0; i < 5000 && !done(); ++i)
      velto_loop_run_once(loop, 1);
    return done();
  }

  velto_loop *loop = velto_loop_new();
};

TEST_F(Module, MembersAreReachedByNameAndById) {
  velto_control *message = make("VELTO.VeltoSecsIICtrl.1");
  ASSERT_NE(message, nullptr) << velto_last_error();
  EXPECT_EQ(velto_set(message, "sml", nullptr, 0, text("s1f3w{<u4 7><a'x'>}")), VELTO_OK);
  EXPECT_EQ(number(message, "Stream"), 1);
  EXPECT_THAT(textProperty(message, "Msg"), EndsWith("0102b10400000007410178"));
  EXPECT_EQ(velto_set(message, "Node", nullptr, 0, text("2")), VELTO_OK);
  EXPECT_EQ(textProperty(message, "NodeValue"), "x");
  velto_value value{};
  EXPECT_EQ(velto_get_id(message, -520, nullptr, 0, &value), VELTO_OK);
  EXPECT_EQ(value.type, VELTO_INTEGER);
  EXPECT_EQ(velto_set_id(message, -520, nullptr, 0, text("1")), VELTO_OK) << "texts of numbers";
  EXPECT_EQ(number(message, "Appearance"), 1);
  velto_control *gem = make("veltogem");
  const velto_value variable[] = {integer(7), integer(2), integer(14), text("0"),
                                  text("9"),  text("0"),  text("mm"),  text("Position")};
  EXPECT_EQ(velto_call(gem, "RegisterVID", variable, 8, &value), VELTO_OK);
  EXPECT_EQ(value.type, VELTO_BOOL);
  EXPECT_EQ(value.integer, 1);
  EXPECT_EQ(velto_set(gem, "VIDValue", variable, 1, integer(5)), VELTO_OK);
  EXPECT_EQ(velto_get(gem, "VIDValue", variable, 1, &value), VELTO_OK);
  EXPECT_EQ(textOf(value), "5");
}

// What a program can do wrong is a status and a sentence, and changes nothing.
TEST_F(Module, EveryMisuseIsAStatus) {
  velto_control *link = make("VeltoHsms");
  velto_control *gone = make("VeltoHsms");
  velto_control *page = make("VELTO.VeltoHsmsPropPage.1");
  velto_destroy(gone);
  auto *never = reinterpret_cast<velto_control *>(uintptr_t{0x1234});
  velto_value none{};
  std::memset(&none.type, 7, sizeof none.type);
  const velto_value hollow{VELTO_TEXT, 0, 0, nullptr, 4};
  const std::vector<velto_value> many(100, integer(1));
  velto_value out{};
  const struct {
    velto_status expected;
    velto_status status;
    const char *says;
  } rows[] = {
      {VELTO_CLOSED, velto_get(nullptr, "T3", nullptr, 0, &out), "destroyed"},
      {VELTO_CLOSED, velto_get(gone, "T3", nullptr, 0, &out), "destroyed"},
      {VELTO_CLOSED, velto_get(never, "T3", nullptr, 0, &out), "destroyed"},
      {VELTO_NO_SUCH_MEMBER, velto_get(link, "T9", nullptr, 0, &out),
       "VeltoHsms has no property T9"},
      {VELTO_NO_SUCH_MEMBER, velto_get_id(link, 999, nullptr, 0, &out), "999"},
      {VELTO_NO_SUCH_MEMBER, velto_call(link, "T3", nullptr, 0, &out), "no method T3"},
      {VELTO_NO_SUCH_MEMBER, velto_get(page, "T3", nullptr, 0, &out), "page"},
      {VELTO_NOT_WRITABLE, velto_set(link, "MyHostName", nullptr, 0, text("x")), "read only"},
      {VELTO_WRONG_TYPE, velto_set(link, "T3", nullptr, 0, text("soon")), "T3 must be int32"},
      {VELTO_WRONG_TYPE, velto_set(link, "T3", nullptr, 0, none), "no type"},
      {VELTO_WRONG_TYPE, velto_set(link, "IPAddress", nullptr, 0, hollow), "no text"},
      {VELTO_WRONG_TYPE, velto_call(link, "Send", &hollow, 1, &out), "no text"},
      {VELTO_WRONG_ARGUMENTS, velto_get(link, nullptr, nullptr, 0, &out), "name"},
      {VELTO_WRONG_ARGUMENTS, velto_call(link, "Send", nullptr, 0, &out),
       "takes 1 argument, not 0"},
      {VELTO_WRONG_ARGUMENTS, velto_call(link, "Send", nullptr, 1, &out), "null"},
      {VELTO_WRONG_ARGUMENTS, velto_call(link, "Send", many.data(), 100, &out), "so many"},
      {VELTO_WRONG_ARGUMENTS, velto_save_bag(link, nullptr), "result"},
      {VELTO_FAILED, velto_load_bag(link, "T3", 2), "\"=\""},
      {VELTO_WRONG_ARGUMENTS, velto_loop_post(loop, nullptr, nullptr), "task"},
      {VELTO_FAILED, velto_sml_to_hex("s1f1{", 5, &out), "line 1"},
      {VELTO_FAILED, velto_hex_to_sml("00", 2, &out), "20"},
      {VELTO_WRONG_ARGUMENTS, velto_sml_to_hex(nullptr, 5, &out), "text"},
  };
  // The rows were made one after the other: the sentence is that of the last.
  EXPECT_THAT(velto_last_error(), HasSubstr(rows[std::size(rows) - 1].says));
  for (const auto &row : rows)
    EXPECT_EQ(row.status, row.expected) << row.says;
  EXPECT_EQ(make("VeltoOther"), nullptr);
  EXPECT_THAT(velto_last_error(), HasSubstr("no control VeltoOther"));
  EXPECT_EQ(make("VELTO.VeltoHsms.1"), nullptr);
  EXPECT_EQ(velto_create(nullptr, "VeltoHsms"), nullptr);
  EXPECT_EQ(velto_page_show(page, make("VeltoLog")), -1) << "a page of another class";
  EXPECT_EQ(velto_loop_run_once(loop, -2), -1);
  velto_status elsewhere = VELTO_OK;
  std::thread([&] { elsewhere = velto_get(link, "T3", nullptr, 0, nullptr); }).join();
  EXPECT_EQ(elsewhere, VELTO_WRONG_THREAD);
  EXPECT_EQ(number(link, "T3"), 45000);
}

struct Heard {
  std::vector<std::string> events;
  std::function<void(velto_control *)> act;
};

void hear(void *user, velto_control *control, int32_t id, const char *name,
          const velto_value *arguments, size_t count) {
  auto *heard = static_cast<Heard *>(user);
  std::string line = std::to_string(id) + ' ' + name;
  for (size_t i = 0; i < count; ++i)
    if (arguments[i].type == VELTO_TEXT)
      line += ' ' + textOf(arguments[i]);
  heard->events.push_back(line);
  if (heard->act)
    heard->act(control);
}

TEST_F(Module, EventsArriveAndMayEndEverything) {
  const std::function<void(velto_control *)> acts[] = {
      nullptr, velto_destroy, [this](velto_control *) { velto_loop_free(loop); },
      [](velto_control *control) { velto_on_event(control, nullptr, nullptr); }};
  for (const auto &act : acts) {
    velto_control *listener = make("VeltoSocket");
    velto_control *client = make("VeltoSocket");
    ASSERT_NE(client, nullptr);
    velto_set(listener, "Server", nullptr, 0, integer(1));
    Heard heard{{}, act};
    velto_on_event(listener, hear, &heard);
    int64_t port = 20000;
    do
      velto_set(listener, "MyPortNumber", nullptr, 0, integer(++port));
    while (
        (velto_set(listener, "Connect", nullptr, 0, integer(1)), number(listener, "Connect") == 0));
    heard.events.clear();
    velto_set(client, "IPAddress", nullptr, 0, text("127.0.0.1"));
    velto_set(client, "PortNumber", nullptr, 0, integer(port));
    velto_set(client, "Connect", nullptr, 0, integer(1));
    for (int i = 0; i < 5000 && heard.events.empty(); ++i)
      velto_loop_run_once(loop, 1);
    EXPECT_THAT(heard.events, ElementsAre("1 Connected 127.0.0.1"));
    velto_loop_free(loop);
    loop = velto_loop_new();
  }
}

TEST_F(Module, OtherThreadsPostAndQuit) {
  const std::thread::id own = std::this_thread::get_id();
  struct Ran {
    std::thread::id expected;
    int times = 0;
  } ran{own};
  std::thread other([&] {
    for (int i = 0; i < 100; ++i)
      velto_loop_post(
          loop,
          [](void *user) {
            auto *at = static_cast<Ran *>(user);
            at->times += std::this_thread::get_id() == at->expected ? 1 : 1000;
          },
          &ran);
    velto_loop_quit(loop);
  });
  EXPECT_EQ(velto_loop_run(loop), VELTO_OK);
  other.join();
  EXPECT_TRUE(runUntil([&] { return ran.times == 100; }));
}

TEST_F(Module, TheBagTheWindowAndThePageShowAControl) {
  velto_control *link = make("VeltoHsms");
  EXPECT_EQ(velto_is_modified(link), 0);
  velto_set(link, "T6", nullptr, 0, integer(7000));
  EXPECT_EQ(velto_is_modified(link), 1);
  velto_value bag{};
  ASSERT_EQ(velto_save_bag(link, &bag), VELTO_OK);
  const std::string kept = textOf(bag);
  EXPECT_THAT(kept, HasSubstr("T6=7000\n"));
  velto_control *copy = make("VeltoHsms");
  EXPECT_EQ(velto_load_bag(copy, kept.data(), kept.size()), VELTO_OK);
  EXPECT_EQ(number(copy, "T6"), 7000);
  velto_value window{};
  ASSERT_EQ(velto_window(link, &window), VELTO_OK);
  EXPECT_THAT(textOf(window), StartsWith(R"({"kind":"tree","roots":[{"key":"Client",)"));
  ASSERT_EQ(velto_window(make("VeltoComm"), &window), VELTO_OK);
  EXPECT_THAT(textOf(window), StartsWith(R"({"kind":"text","text":")"));

  // The operator types into the page; what it cannot take, it says.
  struct Operator {
    std::string json;
    std::string typed;
    std::string problem;
  } user{"", "6000", ""};
  const velto_front_end front{sizeof(velto_front_end), &user, nullptr,
                              [](void *at, velto_sheet *sheet, const char *json) {
                                auto *who = static_cast<Operator *>(at);
                                who->json = json;
                                velto_sheet_set(sheet, "T6", who->typed.data(), who->typed.size());
                                who->problem = velto_sheet_problem(sheet);
                                return 1;
                              }};
  ASSERT_EQ(velto_loop_front_end(loop, &front), VELTO_OK);
  velto_control *page = make("VELTO.VeltoHsmsPropPage.1");
  EXPECT_EQ(velto_page_show(page, link), 1) << velto_last_error();
  EXPECT_THAT(user.json, HasSubstr(R"("key":"T6","label":"T6","kind":"integer","value":"7000")"));
  EXPECT_EQ(number(link, "T6"), 6000);
  user.typed = "never";
  EXPECT_EQ(velto_page_show(page, link), 0);
  EXPECT_THAT(user.problem, HasSubstr("T6 takes a number"));
  EXPECT_EQ(number(link, "T6"), 6000);
}

TEST_F(Module, MessagesNeedNoControl) {
  const std::string sml = "s2f15w{{<u4 303><u4 900>}}";
  velto_value value{};
  ASSERT_EQ(velto_sml_to_hex(sml.data(), sml.size(), &value), VELTO_OK);
  EXPECT_EQ(textOf(value), "0000820f000000000000"
                           "01010102b1040000012fb10400000384");
  const std::string hex = textOf(value);
  ASSERT_EQ(velto_hex_to_sml(hex.data(), hex.size(), &value), VELTO_OK);
  EXPECT_THAT(textOf(value), StartsWith("S2F15W\r\n{"));
  ASSERT_EQ(velto_sml_to_bytes(sml.data(), sml.size(), &value), VELTO_OK);
  const std::string bytes = textOf(value);
  int verification = -1;
  ASSERT_EQ(velto_verify(bytes.data(), bytes.size(), 1, 1, &verification, &value), VELTO_OK);
  EXPECT_EQ(verification, 0);
  EXPECT_EQ(textOf(value), "");
  ASSERT_EQ(velto_verify(bytes.data(), bytes.size(), 1, 0, &verification, &value), VELTO_OK);
  EXPECT_EQ(verification, 6) << "no host receives it";
  EXPECT_THAT(textOf(value), HasSubstr("S2F15"));
}

TEST(TypeLibrary, NamesEveryMemberOfEveryControl) {
  const std::string library = velto_type_library();
  for (
      const char *part :
      {R"("programmatic_name":"VELTO.VeltoGemCtrl.1")", R"("page":"VELTO.VeltoLogPropPage.1")",
       R"("name":"T3","kind":"property","type":"int32","access":"read-write","default":45000,"unit":"ms","minimum":0,"maximum":2147483647,"enforced":false)",
       R"("name":"Transport","kind":"property","type":"int16","access":"read-write","default":0,"enumeration":"VeltoGemTransport")",
       R"({"name":"sErrorCode","type":"int16","enumeration":"VeltoHsmsError"})",
       R"({"value":-5,"name":"ErrorHsmsT3","help":"T3: )",
       R"({"name":"VeltoGemCapability","help":"The optional parts of an equipment (SEMI E30 4).","flags":true,)",
       R"("arguments":[{"name":"lVID","type":"int32"}])", R"("kind":"event")"})
    EXPECT_THAT(library, HasSubstr(part));
  EXPECT_EQ(velto_version(), 0x000100U);
}

} // namespace
