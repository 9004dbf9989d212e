// Requests, commands and subscriptions of the Gem control.

#include "controls/gem_ctrl_requests.h"

#include "controls/gem_requests.h"
#include "controls/gem_subscriptions.h"
#include "gem/capabilities/capabilities.h"
#include "gem/engine/engine.h"
#include "secs2/item_value.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace velto {

// Replies and values -----------------------------------------------------------------------------

std::string GemReply::Value(const std::string &node) const {
  return CHSecsMessage::NodeValue(message.root, node, true);
}

const GemValue *GemValues::find(std::string_view name) const {
  const auto found = std::ranges::find(all, name, &GemValue::name);
  return found == all.end() ? nullptr : &*found;
}

const GemValue *GemValues::find(uint32_t vid) const {
  const auto found = std::ranges::find(all, vid, &GemValue::vid);
  return found == all.end() ? nullptr : &*found;
}

const std::string &GemValues::textOf(const GemValue *value) {
  static const std::string none;
  return value == nullptr ? none : value->text;
}

// Requests ---------------------------------------------------------------------------------------

GemCtrlRequests::GemCtrlRequests(EventLoop &loop)
    : loop_(loop), requests_(std::make_shared<GemRequests>(loop)),
      subscriptions_(std::make_shared<GemSubscriptions>(
          loop, *requests_, [this]() -> CHGemEngine & { return gemEngine(); })) {}

GemCtrlRequests::~GemCtrlRequests() = default;

void GemCtrlRequests::endRequests() {
  subscriptions_->close();
  GemRequests::tell(requests_->close());
}

namespace {

CHSecsMessage copyOf(const CHSecsMessage &message) {
  CHSecsMessage copy;
  copy.header = message.header;
  copy.root = message.root.clone();
  return copy;
}

} // namespace

void GemCtrlRequests::Request(const CHSecsMessage &primary, ReplyHandler handler,
                              uint32_t milliseconds) {
  requests_->Send(gemEngine(), copyOf(primary), "", milliseconds, std::move(handler));
}

void GemCtrlRequests::Request(const std::string &sml, ReplyHandler handler, uint32_t milliseconds) {
  CHSecsMessage primary;
  SmlError error;
  const bool parsed = primary.SetFromSml(sml, &error);
  requests_->Send(gemEngine(), std::move(primary), parsed ? "" : error.whatAndWhere(), milliseconds,
                  std::move(handler));
}

GemReply GemCtrlRequests::Request(const CHSecsMessage &primary, uint32_t milliseconds) {
  return await([&](ReplyHandler handler) { Request(primary, std::move(handler), milliseconds); });
}

GemReply GemCtrlRequests::Request(const std::string &sml, uint32_t milliseconds) {
  return await([&](ReplyHandler handler) { Request(sml, std::move(handler), milliseconds); });
}

// Every request ends, if only with the control, which may be gone then; the loop is still there.
GemReply GemCtrlRequests::await(const std::function<void(ReplyHandler)> &send) {
  if (requests_->closed())
    return GemRequests::goneReply();
  std::optional<CHGemEngine::Received> shown;
  if (showsMessage() && gemEngine().gem() != nullptr)
    shown = gemEngine().received();
  EventLoop &loop = loop_;
  const Lifetime::Watch alive(lifetime_);
  std::optional<GemReply> result;
  send([&result](const GemReply &reply) {
    result.emplace();
    result->outcome = reply.outcome;
    result->message = copyOf(reply.message);
    result->reason = reply.reason;
  });
  while (!result)
    loop.runOnce(loop.clock().runsByItself() ? -1 : 1);
  if (alive && shown)
    gemEngine().putBack(*shown);
  return std::move(*result);
}

// Commands ---------------------------------------------------------------------------------------

void GemCtrlRequests::OnCommand(const std::string &name, CommandHandler handler) {
  if (handler)
    commands_[name] = std::make_shared<const CommandHandler>(std::move(handler));
  else
    commands_.erase(name);
}

// The handler may destroy the control, and take another model.
bool GemCtrlRequests::carryOut(const std::string &name) {
  const auto found = commands_.find(name);
  if (found == commands_.end() || gemEngine().gem() == nullptr)
    return false;
  GemCommand command;
  command.name = name;
  for (const auto &[parameter, value] : gemEngine().gem()->capabilities().remote().parameters())
    command.values.all.push_back(
        {parameter, 0, valueText(*value, ValueForm::Decimal), value->clone()});
  const auto handler = found->second;
  const Lifetime::Watch alive(lifetime_);
  const int16_t answer = (*handler)(command);
  if (!alive || gemEngine().gem() == nullptr)
    return true;
  CHGemRemoteControl &remote = gemEngine().gem()->capabilities().remote();
  remote.setAnswer(std::in_range<uint8_t>(answer) ? static_cast<uint8_t>(answer)
                                                  : uint8_t{CHGemRemoteControl::Rejected});
  for (const auto &[parameter, fault] : command.faults)
    if (std::in_range<uint8_t>(fault))
      remote.setParameterFault(parameter, static_cast<uint8_t>(fault));
  return true;
}

// Subscriptions ----------------------------------------------------------------------------------

GemId::GemId(std::string text, bool isText) : name_(std::move(text)), isText_(isText) {
  uint32_t number = 0;
  const char *end = name_.data() + name_.size();
  if (std::from_chars(name_.data(), end, number).ptr == end && std::to_string(number) == name_)
    number_ = number;
}

int32_t GemCtrlRequests::Subscribe(GemId ceid, std::vector<GemId> vids, EventHandler handler) {
  return subscriptions_->add(std::move(ceid), std::move(vids), std::move(handler));
}

bool GemCtrlRequests::Subscribed() const { return subscriptions_->inForce(); }

bool GemCtrlRequests::Unsubscribe(int32_t subscription) {
  return subscriptions_->remove(subscription);
}

} // namespace velto
