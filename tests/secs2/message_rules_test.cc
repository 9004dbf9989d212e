#include "secs2/support.h"
#include "secs2/verifier.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

// The rules of all messages once more, stated apart from the message table: what each message may
// carry, where it may go, and what is proposed as its reply. The two must agree.

namespace velto {
namespace {

/// Messages that follow one rule, as message_rules.txt states them.
struct Rule {
  /// The bodies of a side: "right" or "wrong".
  const std::string &bodies(const std::string &kind, bool equipment) const {
    return lines.at(equipment || !lines.contains("host-" + kind) ? kind : "host-" + kind);
  }

  unsigned stream = 0;
  std::vector<unsigned> functions;
  char wbit = '-';
  char side = 'B';
  std::map<std::string, std::string> lines{
      {"right", "*"}, {"wrong", "?"}, {"reply", ""}, {"refused", ""}};
};

std::vector<Rule> readRules() {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/secs2/message_rules.txt");
  std::map<std::string, std::string> names;
  std::vector<Rule> rules;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string key;
    std::string text;
    words >> key >> std::ws;
    if (key.empty() || key[0] == '#')
      continue;
    std::getline(words, text);
    if (key[0] == '$') {
      names[key] = text;
    } else if (line[0] == 'S') {
      Rule rule;
      std::istringstream numbers(key.substr(1));
      numbers >> rule.stream;
      for (unsigned function = 0; numbers.get() && numbers >> function;)
        rule.functions.push_back(function);
      rule.wbit = text.at(0);
      rule.side = text.at(2);
      rules.push_back(rule);
    } else {
      rules.back().lines[key] = text.starts_with('$') ? names.at(text) : text;
    }
  }
  return rules;
}

const std::vector<Rule> kRules = readRules();

/// The bodies of a rule: none for "!" and "?".
std::vector<std::string> bodiesOf(std::string_view text) {
  if (text == "!" || text == "?")
    return {};
  if (text == "*")
    text = "|{}|<f8 1>|{<a'x'>{<b 1>}}";
  std::vector<std::string> bodies(1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '|') {
      bodies.emplace_back();
    } else if (text[i] == '%') {
      bodies.back().append(static_cast<size_t>(decimal32(text.substr(i + 1))), 'x');
      i = text.find_first_not_of("0123456789", i + 1) - 1;
    } else {
      bodies.back() += text[i];
    }
  }
  return bodies;
}

/// A reply as hexadecimal text.
std::string hexOf(unsigned id, unsigned stream, unsigned function, unsigned systemBytes,
                  const std::string &body) {
  return formatText("%04x%02x%02x0000%08x", id, stream, function, systemBytes) + body;
}

/// Verifies a message on one side; `proposal` is the body proposed for results 0 and 3.
void expectVerdict(bool equipment, unsigned stream, unsigned function, bool wbit,
                   const std::string &body, int result, const std::string &proposal = "") {
  constexpr unsigned kId = 0x0105;
  constexpr unsigned kSystemBytes = 0x00010777;
  CHSecsVerifier slot;
  slot.isEquipmentSide = equipment;
  slot.message = fromSml(formatText("s%uf%u%s", stream, function, wbit ? "w" : "") + body);
  slot.message.header.idWord = kId;
  slot.message.header.systemBytes = kSystemBytes;
  SCOPED_TRACE(formatText("S%uF%u%s %s on the %s side", stream, function, wbit ? "W" : "",
                          body.c_str(), equipment ? "equipment" : "host"));
  ASSERT_EQ(slot.Verify(true), result);

  constexpr unsigned kStream9[] = {0, 0, 7, 0, 7, 7, 7, 3, 5}; // by result
  const unsigned error = kStream9[result];
  const bool answered = wbit && function % 2 == 1;
  EXPECT_EQ(slot.partner()->replyValid, error != 0 || answered);
  const std::string reply = slot.partner()->message.GetMsg();
  const std::string header = "210a" + slot.message.GetMsg().substr(0, 20);
  if (error != 0)
    EXPECT_EQ(reply, equipment ? hexOf(0xFFFF, 9, error, 0, header)
                               : hexOf(kId, stream, 0, kSystemBytes, ""));
  else if (result == VerificationUserDefined)
    EXPECT_EQ(reply, equipment ? hexOf(answered ? kId : 0xFFFF, 9, stream > 63 ? 3 : 5,
                                       answered ? kSystemBytes : 0, header)
                               : hexOf(kId, stream, (function + 1) % 256, kSystemBytes, ""));
  else if (answered)
    EXPECT_EQ(reply, hexOf(kId, stream, function + 1, kSystemBytes, bodyHex("s0f0" + proposal)));
  else
    EXPECT_EQ(reply.substr(4), "0000000000000000") << "no reply is prepared";
}

/// What the W-bit and the direction make of a message whose body gives `bodyResult`.
int resultOf(const Rule &rule, unsigned function, bool equipment, bool wbit, int bodyResult) {
  if (function % 2 == 0 && wbit)
    return VerificationIncorrect;
  if (rule.wbit == 'W' && !wbit)
    return VerificationNoWBit;
  if (rule.wbit == 'N' && wbit)
    return VerificationWBit;
  if (rule.side != 'B' && (rule.side == 'E') != equipment)
    return VerificationWrongDirection;
  return bodyResult;
}

TEST(MessageRules, EveryMessageIsJudgedAsStated) {
  for (const Rule &rule : kRules)
    for (const int choice : {0, 1, 2, 3}) {
      const bool equipment = (choice & 1) != 0;
      const bool wbit = (choice & 2) != 0;
      const auto right = bodiesOf(rule.bodies("right", equipment));
      auto wrong = bodiesOf(rule.bodies("wrong", equipment));
      if (rule.bodies("wrong", equipment) != "?" && std::ranges::find(right, "") == right.end())
        wrong.emplace_back();
      const int wrongResult =
          rule.lines.at("refused").empty() ? VerificationIncorrect : VerificationIncorrectAndReply;
      for (const unsigned function : rule.functions) {
        for (const std::string &body : right)
          expectVerdict(equipment, rule.stream, function, wbit, body,
                        resultOf(rule, function, equipment, wbit, VerificationCorrect),
                        rule.lines.at("reply"));
        for (const std::string &body : wrong)
          expectVerdict(equipment, rule.stream, function, wbit, body,
                        resultOf(rule, function, equipment, wbit, wrongResult),
                        rule.lines.at("refused"));
      }
    }
}

TEST(MessageRules, NoBodyThatEndsEarlyIsRight) {
  for (const Rule &rule : kRules)
    for (const bool equipment : {false, true}) {
      if (rule.bodies("wrong", equipment) == "?")
        continue; // of any body
      for (const std::string &body : bodiesOf(rule.bodies("right", equipment))) {
        const char *wbit = rule.wbit == 'W' ? "w" : "";
        Bytes whole;
        fromSml(formatText("s%uf%u%s", rule.stream, rule.functions[0], wbit) + body).Encode(whole);
        for (size_t size = CHSecsHeader::kSize + 1; size < whole.size(); ++size) {
          CHSecsVerifier slot;
          slot.isEquipmentSide = equipment;
          ASSERT_TRUE(slot.message.Decode(ByteView(whole).first(size)));
          EXPECT_NE(slot.Verify(true), VerificationCorrect)
              << "S" << rule.stream << "F" << rule.functions[0] << " " << toHex(whole) << " cut to "
              << size << " bytes";
        }
      }
    }
}

TEST(MessageRules, NoOtherMessageIsKnown) {
  std::set<unsigned> stated;
  for (const Rule &rule : kRules)
    for (const unsigned function : rule.functions)
      EXPECT_TRUE(stated.insert(rule.stream * 256U + function).second)
          << "S" << rule.stream << "F" << function << " is stated twice";
  for (unsigned stream = 0; stream < 128; ++stream)
    for (unsigned function = 1; function < 256; ++function) {
      const bool userDefined = stream > 63 || (stream > 0 && function > 63);
      const bool known = stream >= 1 && stream <= 18 && stream != 11;
      if (stated.contains(stream * 256 + function) ||
          (userDefined && function > 66 && function < 254)) // all alike
        continue;
      for (const int choice : {0, 1, 2, 3}) {
        const bool wbit = (choice & 2) != 0;
        expectVerdict((choice & 1) != 0, stream, function, wbit, "",
                      userDefined                 ? VerificationUserDefined
                      : wbit && function % 2 == 0 ? VerificationIncorrect
                      : known                     ? VerificationUnrecognizedFunction
                                                  : VerificationUnrecognizedStream);
      }
    }
  stated.insert(18 * 256 + 14); // built, but not known when it is received
  EXPECT_EQ(messageTable().size(), stated.size());
  for (const MessageRow &row : messageTable())
    EXPECT_TRUE(stated.contains(row.stream * 256U + row.function))
        << "S" << +row.stream << "F" << +row.function;
}

TEST(MessageRules, AnAbortIsAHeaderWithoutTheWBit) {
  for (const unsigned stream : {0U, 1U, 9U, 11U, 18U, 19U, 63U, 64U, 127U})
    for (const int choice : {0, 1, 2, 3})
      for (const char *body : {"", "{}", "<b 0>"}) {
        const bool wbit = (choice & 2) != 0;
        expectVerdict((choice & 1) != 0, stream, 0, wbit, body,
                      wbit || *body != '\0' ? VerificationIncorrect : VerificationCorrect);
      }
}

} // namespace
} // namespace velto
