// GEM conversations through the C interface: an equipment and a host on one loop.
#include "module/values.h"

#include <functional>
#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;

std::string bytesOf(const std::string &sml) {
  velto_value bytes{};
  EXPECT_EQ(velto_sml_to_bytes(sml.data(), sml.size(), &bytes), VELTO_OK) << velto_last_error();
  return {bytes.text, bytes.length};
}

// Of a message, or of an item as the body of S0F0, on one line.
std::string smlOf(const void *bytes, size_t length, bool item) {
  const std::string message =
      std::string(item ? 10 : 0, '\0') + std::string(static_cast<const char *>(bytes), length);
  velto_value sml{};
  if (velto_bytes_to_sml(message.data(), message.size(), &sml) != VELTO_OK)
    return "";
  std::string line;
  for (const char c : std::string(sml.text, sml.length))
    if (c == '\r' || c == '\n')
      line += line.empty() || line.back() == ' ' ? "" : " ";
    else if (c != ' ' || (!line.empty() && line.back() != ' '))
      line += c;
  return line;
}

// The parameter stands in front of the addresses.
class GemInC : public testing::TestWithParam<std::string> {
public:
  std::vector<std::string> heard;
  std::vector<std::string> replies;

protected:
  void SetUp() override {
    for (int port = 21000; tool == nullptr && port < 21100; ++port)
      open(port);
    ASSERT_NE(tool, nullptr);
    const velto_value variable[] = {integer(101), integer(2), integer(15),    text("7"),
                                    text("9"),    text("0"),  text("wafers"), text("Wafers")};
    ASSERT_EQ(velto_call(tool, "RegisterVID", variable, 8, nullptr), VELTO_OK);
    ASSERT_EQ(velto_set(tool, "VIDValue", variable, 1, integer(7)), VELTO_OK);
    const velto_value event[] = {integer(12), integer(255), text("Done")};
    ASSERT_EQ(velto_call(tool, "RegisterCEID", event, 3, nullptr), VELTO_OK);
    const velto_value command[] = {text("START"), text("LOT:A"), text("LOT"), integer(12)};
    ASSERT_EQ(velto_call(tool, "RegisterCommand", command, 4, nullptr), VELTO_OK);
  }
  ~GemInC() override { velto_loop_free(loop); }

  bool until(const std::function<bool()> &met) {
    for (int i = 0; i < 3000 && !met(); ++i)
      velto_loop_run_once(loop, 1);
    return met();
  }
  bool communicating(velto_control *gem) {
    velto_value state{};
    velto_get(gem, "CommunicationState", nullptr, 0, &state);
    return state.integer == 2;
  }
  // Sends SML and waits; "0 S1F2 …", the outcome and what came, or the reason.
  std::string ask(const std::string &sml, uint32_t milliseconds = 0) {
    const std::string message = bytesOf(sml);
    replies.clear();
    EXPECT_EQ(velto_gem_request(host, message.data(), message.size(), milliseconds, replied, this),
              VELTO_OK);
    EXPECT_TRUE(replies.empty()) << "never inside the call";
    until([this] { return !replies.empty(); });
    return replies.empty() ? "nothing" : replies.back();
  }
  static void replied(void *user, velto_control *, velto_outcome outcome, const void *message,
                      size_t length, const char *reason) {
    const std::string what = *reason != '\0' ? reason : smlOf(message, length, false);
    static_cast<GemInC *>(user)->replies.push_back(std::to_string(outcome) + ' ' + what);
  }

  velto_loop *loop = velto_loop_new();
  velto_control *tool = nullptr;
  velto_control *host = nullptr;

private:
  void open(int port) {
    const std::string number = std::to_string(port);
    tool = velto_gem_equipment(loop, "", ("listen:" + GetParam() + number).c_str());
    host = velto_gem_host(loop, (GetParam() + "127.0.0.1:" + number).c_str());
    velto_set(host, "T5", nullptr, 0, integer(1));
    if (until([this] { return communicating(tool) && communicating(host); }))
      return;
    velto_destroy(std::exchange(tool, nullptr));
    velto_destroy(host);
  }
};

INSTANTIATE_TEST_SUITE_P(Over, GemInC, testing::Values("", "secsi:"));

TEST_P(GemInC, RequestsHaveOneEnd) {
  EXPECT_THAT(ask("s1f3w{<u4 101>}"), HasSubstr("0 S1F4 { <u4 7>"));
  EXPECT_THAT(ask("s1f4{}"), HasSubstr("1 "));
  EXPECT_THAT(ask("s64f1w"), HasSubstr("4 "));
  const std::string primary = bytesOf("s1f1w");
  replies.clear();
  velto_gem_request(host, primary.data(), primary.size(), 0, replied, this);
  velto_destroy(host);
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0][0], '8') << replies[0];
}

TEST_P(GemInC, EventsBringTheirValues) {
  const uint32_t vid = 101;
  int32_t number = 0;
  ASSERT_EQ(velto_gem_subscribe(
                host, 12, &vid, 1,
                [](void *user, velto_control *, uint32_t ceid, const char *name, const void *values,
                   size_t length) {
                  static_cast<GemInC *>(user)->heard.push_back(std::to_string(ceid) + ' ' + name +
                                                               ' ' + smlOf(values, length, true));
                },
                this, &number),
            VELTO_OK);
  EXPECT_EQ(velto_gem_subscribed(host), 0);
  ASSERT_TRUE(until([this] { return velto_gem_subscribed(host) == 1; }));
  const velto_value event = integer(12);
  velto_call(tool, "InvokeEvent", &event, 1, nullptr);
  ASSERT_TRUE(until([this] { return !heard.empty(); }));
  EXPECT_THAT(heard[0], HasSubstr("12 "));
  EXPECT_THAT(heard[0], HasSubstr("<a 'Wafers'> <u4 101> <u4 7>"));
  EXPECT_EQ(velto_gem_unsubscribe(host, number), VELTO_OK);
  EXPECT_EQ(velto_gem_unsubscribe(host, number), VELTO_FAILED);
}

TEST_P(GemInC, CommandsAreAnsweredByTheirHandler) {
  ASSERT_EQ(
      velto_gem_on_command(
          tool, "START",
          [](void *user, velto_control *at, const char *name, const void *values, size_t length) {
            auto *test = static_cast<GemInC *>(user);
            test->heard.push_back(std::string(name) + ' ' + smlOf(values, length, true));
            const velto_value lot = text("LOT");
            velto_set(at, "CPACK", &lot, 1, integer(2));
            return 3;
          },
          this),
      VELTO_OK);
  EXPECT_THAT(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}"),
              HasSubstr("S2F42 { <b 0x03> { { <a 'LOT'> <b 0x02>"));
  EXPECT_THAT(heard[0], HasSubstr("START"));
  EXPECT_THAT(heard[0], HasSubstr("{ <a 'LOT'> <a 'L1'> }"));
  velto_gem_on_command(tool, "START", nullptr, nullptr);
  EXPECT_THAT(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}"), HasSubstr("<b 0x00>"));
}

TEST_P(GemInC, TheCurrentMessageIsBytesAndMisuseIsAStatus) {
  velto_value value{};
  velto_set(host, "WorkSpace", nullptr, 0, integer(2));
  velto_set(host, "SML", nullptr, 0, text("s1f3w{<u4 7>}"));
  ASSERT_EQ(velto_gem_message(host, &value), VELTO_OK);
  EXPECT_THAT(smlOf(value.text, value.length, false), HasSubstr("S1F3W { <u4 7> * SVID }"));
  velto_control *link = velto_create(loop, "VeltoHsms");
  EXPECT_EQ(velto_gem_message(link, &value), VELTO_NO_SUCH_MEMBER);
  EXPECT_EQ(velto_gem_subscribed(link), -1);
  EXPECT_EQ(velto_gem_message(host, nullptr), VELTO_WRONG_ARGUMENTS);
  EXPECT_EQ(velto_gem_request(host, "short", 5, 0, replied, this), VELTO_WRONG_ARGUMENTS);
  EXPECT_EQ(velto_gem_request(host, nullptr, 10, 0, replied, this), VELTO_WRONG_ARGUMENTS);
  EXPECT_EQ(velto_gem_request(host, "0123456789", 10, 0, nullptr, this), VELTO_WRONG_ARGUMENTS);
  EXPECT_EQ(velto_gem_subscribe(host, 1, nullptr, 1, nullptr, this, nullptr),
            VELTO_WRONG_ARGUMENTS);
  EXPECT_EQ(velto_gem_on_command(host, nullptr, nullptr, nullptr), VELTO_WRONG_ARGUMENTS);
  velto_destroy(host);
  EXPECT_EQ(velto_gem_message(host, &value), VELTO_CLOSED);
}

} // namespace
