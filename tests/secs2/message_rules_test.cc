#include "secs2/message_table.h"
#include "secs2/reply_text.h"
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
  unsigned function = 0;
  char wbit = '-';
  char side = 'B';
  std::map<std::string, std::string> lines{
      {"right", "*"}, {"wrong", "?"}, {"reply", ""}, {"refused", ""}};
};

/// Rules by stream and function. Those that are read take the place of what `before` states of the
/// same messages, line by line.
std::map<unsigned, Rule> readRules(const std::string &name,
                                   const std::map<unsigned, Rule> &before = {}) {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/secs2/" + name);
  std::map<std::string, std::string> names;
  std::map<unsigned, Rule> rules = before;
  std::set<unsigned> stated;
  std::vector<Rule *> open;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string key;
    std::string text;
    words >> key >> std::ws;
    if (key.empty() || key[0] == '#')
      continue;
    std::getline(words, text);
    if (const size_t at = text.find('$'); at != std::string::npos)
      text.replace(at, std::string::npos, names.at(text.substr(at)));
    if (key[0] == '$') {
      names[key] = text;
    } else if (line[0] == 'S') {
      std::istringstream numbers(key.substr(1));
      unsigned stream = 0;
      numbers >> stream;
      open.clear();
      for (unsigned function = 0; numbers.get() && numbers >> function;) {
        EXPECT_TRUE(stated.insert(stream * 256 + function).second) << line << " is stated twice";
        Rule &rule = rules[stream * 256 + function];
        rule.stream = stream;
        rule.function = function;
        rule.wbit = text.empty() ? rule.wbit : text.at(0);
        rule.side = text.size() < 3 ? rule.side : text.at(2);
        open.push_back(&rule);
      }
    } else {
      for (Rule *rule : open)
        rule->lines[key] = text;
    }
  }
  return rules;
}

const std::map<unsigned, Rule> &rulesOf(E5Edition edition) {
  static const auto early = readRules("message_rules.txt");
  static const auto current = readRules("message_rules_current.txt", early);
  return edition == E5Edition::Current ? current : early;
}

constexpr E5Edition kEditions[] = {E5Edition::Early, E5Edition::Current};

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
void expectVerdict(E5Edition edition, bool equipment, unsigned stream, unsigned function, bool wbit,
                   const std::string &body, int result, const std::string &proposal = "") {
  constexpr unsigned kId = 0x0105;
  constexpr unsigned kSystemBytes = 0x00010777;
  CHSecsVerifier slot;
  slot.edition = edition;
  slot.isEquipmentSide = equipment;
  slot.message = fromSml(formatText("s%uf%u%s", stream, function, wbit ? "w" : "") + body);
  slot.message.header.idWord = kId;
  slot.message.header.systemBytes = kSystemBytes;
  SCOPED_TRACE(formatText("edition %d: S%uF%u%s %s on the %s side", static_cast<int>(edition),
                          stream, function, wbit ? "W" : "", body.c_str(),
                          equipment ? "equipment" : "host"));
  ASSERT_EQ(slot.Verify(true), result);
  EXPECT_EQ(slot.FindingText(true).empty(), result <= VerificationUserDefined);

  constexpr unsigned kStream9[] = {0, 0, 7, 0, 7, 7, 7, 3, 5}; // by result
  const unsigned error = kStream9[result];
  const bool answered = wbit && function % 2 == 1;
  const unsigned s9Id = function % 2 == 1 ? kId : 0xFFFF;
  EXPECT_EQ(slot.partner()->replyValid, error != 0 || answered);
  const std::string reply = slot.partner()->message.GetMsg();
  const std::string header = "210a" + slot.message.GetMsg().substr(0, 20);
  if (error != 0)
    EXPECT_EQ(reply, equipment ? hexOf(s9Id, 9, error, 0, header)
                               : hexOf(kId, stream, 0, kSystemBytes, ""));
  else if (result == VerificationUserDefined)
    EXPECT_EQ(reply, equipment
                         ? hexOf(s9Id, 9, stream > 63 ? 3 : 5, answered ? kSystemBytes : 0, header)
                         : hexOf(kId, stream, (function + 1) % 256, kSystemBytes, ""));
  else if (answered)
    EXPECT_EQ(reply, hexOf(kId, stream, function + 1, kSystemBytes, bodyHex("s0f0" + proposal)));
  else
    EXPECT_EQ(reply.substr(4), "0000000000000000") << "no reply is prepared";
}

/// What the W-bit and the direction make of a message whose body gives `bodyResult`.
int resultOf(const Rule &rule, bool equipment, bool wbit, int bodyResult) {
  if (rule.function % 2 == 0 && wbit)
    return VerificationIncorrect;
  if (rule.wbit == 'W' && !wbit)
    return VerificationNoWBit;
  if (rule.wbit == 'N' && wbit)
    return VerificationWBit;
  if (rule.side != 'B' && (rule.side == 'E') != equipment)
    return VerificationWrongDirection;
  return bodyResult;
}

void expectAsStated(E5Edition edition, const Rule &rule, bool equipment, bool wbit) {
  const auto right = bodiesOf(rule.bodies("right", equipment));
  auto wrong = bodiesOf(rule.bodies("wrong", equipment));
  if (rule.bodies("wrong", equipment) != "?" && std::ranges::find(right, "") == right.end())
    wrong.emplace_back();
  const std::string &refused = rule.lines.at("refused");
  const std::string &reply = rule.bodies("reply", equipment);
  const int wrongResult = refused.empty() ? VerificationIncorrect : VerificationIncorrectAndReply;
  for (const std::string &body : right)
    expectVerdict(edition, equipment, rule.stream, rule.function, wbit, body,
                  resultOf(rule, equipment, wbit, VerificationCorrect),
                  reply == "=" ? body : reply);
  for (const std::string &body : wrong)
    expectVerdict(edition, equipment, rule.stream, rule.function, wbit, body,
                  resultOf(rule, equipment, wbit, wrongResult), refused);
}

TEST(MessageRules, EveryMessageIsJudgedAsStated) {
  for (const E5Edition edition : kEditions)
    for (const auto &[key, rule] : rulesOf(edition))
      for (const int choice : {0, 1, 2, 3})
        expectAsStated(edition, rule, (choice & 1) != 0, (choice & 2) != 0);
}

// What one side proposes to a message, the other takes.
TEST(MessageRules, WhatTheCurrentEditionProposesIsRight) {
  for (const auto &[key, rule] : rulesOf(E5Edition::Current))
    for (const bool equipment : {false, true}) {
      if (rule.function % 2 == 0 || rule.wbit == 'N' ||
          resultOf(rule, equipment, true, VerificationCorrect) != VerificationCorrect)
        continue;
      for (const std::string &body : bodiesOf(rule.bodies("right", equipment))) {
        CHSecsVerifier slot;
        CHSecsVerifier other;
        slot.edition = other.edition = E5Edition::Current;
        slot.isEquipmentSide = equipment;
        other.isEquipmentSide = !equipment;
        slot.message = fromSml(formatText("s%uf%uw", rule.stream, rule.function) + body);
        ASSERT_EQ(slot.Verify(true), VerificationCorrect) << slot.FindingText(true);
        ASSERT_TRUE(other.message.SetMsg(slot.partner()->message.GetMsg()));
        EXPECT_EQ(other.Verify(true), VerificationCorrect)
            << other.FindingText(true) << " on the " << (equipment ? "host" : "equipment");
      }
    }
}

TEST(MessageRules, NoBodyThatEndsEarlyIsRight) {
  for (const auto &[key, rule] : rulesOf(E5Edition::Early))
    for (const bool equipment : {false, true}) {
      if (rule.bodies("wrong", equipment) == "?")
        continue; // of any body
      for (const std::string &body : bodiesOf(rule.bodies("right", equipment))) {
        const char *wbit = rule.wbit == 'W' ? "w" : "";
        Bytes whole;
        fromSml(formatText("s%uf%u%s", rule.stream, rule.function, wbit) + body).Encode(whole);
        for (size_t size = CHSecsHeader::kSize + 1; size < whole.size(); ++size) {
          CHSecsVerifier slot;
          slot.isEquipmentSide = equipment;
          ASSERT_TRUE(slot.message.Decode(ByteView(whole).first(size)));
          EXPECT_NE(slot.Verify(true), VerificationCorrect)
              << "S" << rule.stream << "F" << rule.function << " " << toHex(whole) << " cut to "
              << size << " bytes";
          EXPECT_NE(slot.FindingText(true), "");
        }
      }
    }
}

TEST(MessageRules, NoOtherMessageIsKnown) {
  for (const E5Edition edition : kEditions) {
    for (unsigned stream = 0; stream < 128; ++stream)
      for (unsigned function = 1; function < 256; ++function) {
        const bool userDefined = stream > 63 || (stream > 0 && function > 63);
        const bool known = stream >= 1 && stream <= 18 && stream != 11;
        if (rulesOf(edition).contains(stream * 256 + function) ||
            (userDefined && function > 66 && function < 254)) // all alike
          continue;
        for (const int choice : {0, 1, 2, 3}) {
          const bool wbit = (choice & 2) != 0;
          expectVerdict(edition, (choice & 1) != 0, stream, function, wbit, "",
                        userDefined                 ? VerificationUserDefined
                        : wbit && function % 2 == 0 ? VerificationIncorrect
                        : known                     ? VerificationUnrecognizedFunction
                                                    : VerificationUnrecognizedStream);
        }
      }
    for (const MessageRow &row : messageTable())
      EXPECT_EQ(rulesOf(edition).contains(row.stream * 256U + row.function),
                row.of(edition).body != nullptr)
          << "S" << +row.stream << "F" << +row.function;
  }
}

TEST(MessageRules, AnAbortIsAHeaderWithoutTheWBit) {
  for (const unsigned stream : {0U, 1U, 9U, 11U, 18U, 19U, 63U, 64U, 127U})
    for (const int choice : {0, 1, 2, 3})
      for (const char *body : {"", "{}", "<b 0>"}) {
        const bool wbit = (choice & 2) != 0;
        expectVerdict(E5Edition::Early, (choice & 1) != 0, stream, 0, wbit, body,
                      wbit || *body != '\0' ? VerificationIncorrect : VerificationCorrect);
      }
}

} // namespace
} // namespace velto
