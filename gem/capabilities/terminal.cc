#include "gem/capabilities/terminal.h"

#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "secs2/item_value.h"

#include <utility>

namespace velto {

namespace {

constexpr uint8_t kStream = 10;
constexpr uint8_t kSingle = 3;
constexpr uint8_t kMultiBlock = 5;
constexpr uint8_t kBroadcast = 9;
constexpr uint8_t kNotDisplayed = 1; // ACKC10
constexpr size_t kMostRefused = 1000;

bool isText(uint8_t function, bool host) {
  return host ? function == 1
              : function == kSingle || function == kMultiBlock || function == kBroadcast;
}

std::string textOf(const CHSecsItem &item) {
  std::string text;
  for (const CHSecsItem &line : item.children())
    text.append(&line == &item.children().front() ? "" : "\n")
        .append(valueText(line, ValueForm::Decimal));
  return item.isList() ? text : valueText(item, ValueForm::Decimal);
}

} // namespace

void CHGemTerminal::addSettings(SettingList &settings) {
  settings.section("Gem");
  settings.rareFlag("MultiBlockTerminal", multiBlock_, true);
}

bool CHGemTerminal::SendText(uint8_t tid, std::string_view text) {
  CHSecsMessage message;
  message.SetFromSml(owner().isHost() ? "s10f3w" : "s10f1w");
  message.root = listItem(numberItem(tid, format::kBinary), textItem(text));
  return owner().Send(message);
}

// The text stays unread where the event cannot go out, so that it may be tried again.
bool CHGemTerminal::Recognize() {
  if (!std::exchange(unread_, false))
    return false;
  const bool sent = events().InvokeRole(RoleOperatorRecognizedMessage);
  unread_ = unread_ || !sent;
  return sent;
}

// A text of several lines that the terminal cannot show is acknowledged as not displayed; S10F7
// follows the reply.
bool CHGemTerminal::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (slot.result != VerificationCorrect || header.stream() != kStream ||
      !isText(header.function(), owner().isHost()))
    return false;
  const bool refused = header.function() == kMultiBlock && !multiBlock_;
  if (refused && refused_.size() < kMostRefused)
    refused_.push_back(static_cast<uint8_t>(numberOf(childOf(slot.message.root, 1))));
  const uint8_t acknowledge = refused ? kNotDisplayed : show(slot.message);
  rebuildReply(slot, numberItem(acknowledge, format::kBinary));
  return true;
}

// The application may hear of another text inside this one.
uint8_t CHGemTerminal::show(const CHSecsMessage &message) {
  const bool broadcast = message.header.function() == kBroadcast;
  const CHSecsItem &terminal = broadcast ? message.root : childOf(message.root, 1);
  const uint32_t tid = broadcast ? 0 : numberOf(terminal);
  const std::string text = textOf(broadcast ? message.root : childOf(message.root, 2));
  unread_ = true;
  const uint8_t outer = std::exchange(answer_, uint8_t{0});
  host().application().OnTerminalText(static_cast<uint8_t>(tid), text);
  const uint8_t answer = std::exchange(answer_, outer);
  unread_ = unread_ && answer == 0;
  return answer;
}

void CHGemTerminal::Tick() {
  if (refused_.empty())
    return;
  CHSecsMessage message;
  message.SetFromSml("s10f7");
  message.root = numberItem(refused_.front(), format::kBinary);
  refused_.pop_front();
  owner().Send(message);
}

std::optional<uint32_t> CHGemTerminal::NextTick() const {
  return refused_.empty() ? std::nullopt : std::optional<uint32_t>(0);
}

void CHGemTerminal::Reset() {
  unread_ = false;
  refused_.clear();
}

} // namespace velto
