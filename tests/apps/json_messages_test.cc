// Messages as JSON: whatever a body's bytes are, they come back; what is no message is refused with
// its line.
#include "apps/velto/sml/json_messages.h"
#include "base/text.h"
#include "platform/file.h"
#include "secs2/message_json.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <random>

namespace velto {
namespace {

std::string back(const std::string &json) {
  JsonProblem problem;
  const auto objects = splitJson(json, problem);
  std::string hex;
  for (const JsonObject &object : objects ? *objects : std::vector<JsonObject>()) {
    const auto bytes = messageFromJson(object, problem);
    if (!bytes)
      break;
    hex += (hex.empty() ? "" : " ") + toHex(*bytes);
  }
  return problem.text.empty() ? hex : std::to_string(problem.line) + ": " + problem.text;
}

TEST(JsonMessages, AnyBytesComeBack) {
  const auto comesBack = [](const Bytes &message) {
    const std::string json = '{' + messageJsonMembers(message) + '}';
    EXPECT_EQ(back(json), toHex(message)) << json;
  };
  std::vector<Bytes> seeds;
  for (const auto &entry :
       std::filesystem::directory_iterator(VELTO_SOURCE_DIR "/fuzz/corpus/message_fuzz")) {
    const std::string text = systemFiles().read(entry.path()).value_or("");
    if (text.size() >= 10)
      seeds.emplace_back(text.begin(), text.end());
  }
  ASSERT_GE(seeds.size(), 5U);
  std::mt19937 random(20260301);
  for (const int code : {0x91, 0x81, 0x61, 0x51, 0xa1, 0x25, 0x49, 0x21, 0x41}) {
    Bytes message(12);
    message[10] = static_cast<uint8_t>(code);
    message[11] = 240; // whole elements of any size
    for (int i = 0; i < 240; ++i)
      message.push_back(static_cast<uint8_t>(random()));
    seeds.push_back(message);
  }
  for (const Bytes &seed : seeds) {
    comesBack(seed);
    for (int i = 0; i < 300; ++i) {
      Bytes changed = seed;
      for (int j = 0; j < 3; ++j)
        changed[random() % changed.size()] = static_cast<uint8_t>(random());
      changed.resize(10 + random() % (changed.size() - 9));
      comesBack(changed);
    }
  }
}

TEST(JsonMessages, AreReadAsTheyAreWrittenByHand) {
  const auto body = [](const std::string &item) { // behind the header
    const std::string hex = back("{\"message\":\"S1F1\",\"body\":" + item + '}');
    return hex.starts_with("ffff0101000000000000") ? hex.substr(20) : hex;
  };
  const auto item = [&body](const std::string &format, const std::string &value) {
    return body("{\"format\":\"" + format + "\",\"value\":" + value + '}');
  };
  const struct {
    const char *format, *value, *expected;
  } rows[] = {
      {"L", "[]", "0100"},
      {"U1", "7", "a50107"},
      {"U1", "[\"7\", 255]", "a50207ff"},
      {"I8", "-9223372036854775808", "61088000000000000000"},
      {"F4", "[\"nan\", \"-inf\", -0.0, 3.4028235e38]", "91107fc00000ff800000800000007f7fffff"},
      {"F8", "3", "81084008000000000000"},
      {"BOOLEAN", "[true, false, 9]", "2503010009"},
      {"A", "\"\\u00e4\u00e4\\u0000\"", "4103e4e400"},
      {"A2", "\"x\"", "4903000878"},
      {"U1", "256", "1: the body: 256 is no value of format U1"},
      {"U1", "1.5", "1: the body: 1.5 is no value of format U1"},
      {"I1", "[1, null]", "1: the body: null is no value of format I1"},
      {"F4", "1e39", "1: the body: 1e+39 is no value of format F4"},
      {"F4", "\"nan:00000000\"", "1: the body: \"nan:00000000\" is no value of format F4"},
      {"A", "[1]", "1: the body: the value of a text is a string"},
      {"A", "\"\u20ac\"", "1: the body: a character above \\u00ff, which no byte stands for"},
      {"L", "{}", "1: the body: the value of a list is an array of items"},
      {"L", "[{\"format\":\"L\",\"value\":[1]}]",
       "1: item 1/1: an item is an object with \"format\" and \"value\""},
      {"U3", "1", "1: the body: there is no format \"U3\""},
  };
  for (const auto &row : rows)
    EXPECT_EQ(item(row.format, row.value), row.expected) << row.format << ' ' << row.value;

  std::string deep = "{\"format\":\"L\",\"value\":[]}";
  for (int i = 1; i < 128; ++i)
    deep = "{\"format\":\"L\",\"value\":[" + deep + "]}";
  EXPECT_EQ(body(deep).size(), 512U);
  EXPECT_EQ(body("{\"format\":\"L\",\"value\":[" + deep + "]}"), "1: lists nest too deeply");
}

TEST(JsonMessages, SayWhereTheyAreWrong) {
  const struct {
    std::string text, expected;
  } rows[] = {
      {"", ""},
      {"{\"message\":\"S1F1W\"}\n{\"stream\":1,\n\"function\":2}",
       "ffff8101000000000000 ffff0102000000000000"},
      {"{\"message\":\"SelectReq\",\"system_bytes\":7}", "ffff0000000100000007"},
      {"\n{}", "2: no message: it has neither \"stream\" nor \"message\""},
      {"{\"message\":\"S1F1 <u1 1>\"}", "1: \"message\" is no name of a message"},
      {"{\"stream\":128}", "1: \"stream\" is no number from 0 to 127"},
      {"{\"stream\":1,\"wbit\":1}", "1: \"wbit\" is neither true nor false"},
      {"{\"stream\":1,\"raw\":\"1\"}", "1: \"raw\" is not hexadecimal"},
      {"{\"stream\":1,\"body_bytes\":7}", "1: its body was left out, as it is too long"},
      {"{\"a\":1}\nx", "2: a JSON object is expected"},
      {"\n{\"a\":\"}\\\"", "2: the object that begins here does not end"},
      {"{\"a\":1e999}", "1: a number is out of range"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(back(row.text), row.expected) << row.text;
  EXPECT_TRUE(back("{\"stream\":1}\n{\"a\":\n tru}").starts_with("3: syntax error"));
  EXPECT_EQ(back(std::string(100000, '{')), "1: lists nest too deeply");
}

TEST(JsonMessages, ALongBodyIsLeftOut) {
  const Bytes message = fromHex("ffff010100000000000041083132333435363738");
  EXPECT_NE(messageJsonMembers(message, {.most = 40}).find("\"value\":\"12345678\""),
            std::string::npos);
  EXPECT_EQ(bodyJsonMembers(ByteView(message).subspan(10), {.most = 20}), ",\"body_bytes\":10");
}

} // namespace
} // namespace velto
