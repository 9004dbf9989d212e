#include "apps/gateway/requests.h"

#include "apps/gateway/json.h"
#include "gem/messages/items.h"
#include "secs2/sml_printer.h"

#include <algorithm>
#include <utility>

namespace velto::gateway {

namespace {

constexpr size_t kMostIds = 1000;
constexpr size_t kMostOpen = 100;
constexpr size_t kMostSml = size_t{1} * 1024 * 1024;

/// How the acknowledge of an action's answer stands in it.
enum class Acknowledged : uint8_t { Nowhere, Alone, InList };

Acknowledged acknowledgeOf(Action action) {
  switch (action) {
  case Action::Command:
    return Acknowledged::InList; // S2F42
  case Action::Set:
  case Action::Send:
    return Acknowledged::Alone; // S2F16, S7F2, S7F4
  default:
    return Acknowledged::Nowhere;
  }
}

constexpr uint32_t kLater = 4; // HCACK: will be performed, an event tells of it

} // namespace

bool Requests::isRepeated(const std::string &id) {
  if (std::ranges::find(ids_, id) != ids_.end())
    return true;
  ids_.push_back(id);
  if (ids_.size() > kMostIds)
    ids_.pop_front();
  return false;
}

std::string Requests::refusal(const RequestPlan &plan, bool reachable) const {
  if (!plan.problem.empty())
    return plan.problem;
  const auto allowed = [&](const std::string &name) {
    return isAllowed(tool_.allow, plan.action, name);
  };
  const bool all = plan.names.empty() ? allowed("") : std::ranges::all_of(plan.names, allowed);
  if (!all)
    return "not allowed";
  return reachable ? "" : "the tool is off-line";
}

// A topic of ours but for those of replies is not for others to write on.
bool Requests::isReplyTopic(const std::string &topic) const {
  constexpr size_t kLongest = 1000;
  const auto isNone = [](char c) {
    return c == '+' || c == '#' || (c >= 0 && c < ' ') || c == 0x7F;
  };
  return topic.size() <= kLongest && !topic.starts_with('$') &&
         std::ranges::none_of(topic, isNone) &&
         (!topic.starts_with(out_.prefix + '/') ||
          topic.starts_with(out_.topic(tool_.name, "reply/")));
}

void Requests::take(const std::string &id, const std::string &payload, bool reachable) {
  if (isRepeated(id))
    return;
  const auto plan = std::make_shared<RequestPlan>(readRequest(payload, *tool_.names));
  if (!isReplyTopic(plan->replyTo)) {
    plan->replyTo.clear();
    plan->problem = "\"reply_to\" is no topic for a reply";
  }
  const std::string problem = refusal(*plan, reachable);
  if (!problem.empty())
    return answer(*plan, id, problem, "");
  if (open_.size() >= kMostOpen)
    return answer(*plan, id, "too many requests wait for the tool", "");
  open_[id] = plan;
  send(plan, id, 0);
}

void Requests::close() {
  for (const auto &[id, plan] : std::exchange(open_, {}))
    answer(*plan, id, "the gateway has let go of the tool", "");
}

void Requests::send(const std::shared_ptr<RequestPlan> &plan, const std::string &id, size_t index) {
  control_.Request(
      plan->messages[index],
      [this, plan, id, index](const GemReply &reply) {
        if (reply.outcome != GemOutcome::Gone && open_.contains(id))
          answered(plan, id, index, reply);
      },
      plan->timeout);
}

void Requests::answered(const std::shared_ptr<RequestPlan> &plan, const std::string &id,
                        size_t index, const GemReply &reply) {
  if (!reply)
    return answer(*plan, id, reply.reason, "");
  const Acknowledged where = acknowledgeOf(plan->action);
  const CHSecsItem &root = reply.message.root;
  const uint32_t code = where == Acknowledged::InList  ? numberOf(childOf(root, 1))
                        : where == Acknowledged::Alone ? numberOf(root)
                                                       : 0;
  const bool good = code == 0 || (plan->action == Action::Command && code == kLater);
  if (good && index + 1 < plan->messages.size())
    return send(plan, id, index + 1);
  std::string members = told(*plan, reply);
  if (where != Acknowledged::Nowhere)
    members += ",\"ack\":" + std::to_string(code);
  answer(*plan, id, good ? "" : "the tool answers " + std::to_string(code), members);
}

std::string Requests::told(const RequestPlan &plan, const GemReply &reply) const {
  const CHSecsItem &root = reply.message.root;
  if (plan.action == Action::Values || plan.action == Action::Constants)
    return ",\"values\":" + payloads_.valuesJson(plan.vids, root.children());
  if (plan.action == Action::Recipes)
    return ",\"recipes\":" + itemJson(root);
  std::string sml = RenderSml(reply.message, nullptr, kMostSml);
  std::erase(sml, '\r');
  JsonObject object;
  std::string text = object.text("sml", sml).take();
  return ',' + text.substr(1, text.size() - 2);
}

void Requests::answer(const RequestPlan &plan, const std::string &id, const std::string &problem,
                      const std::string &members) {
  open_.erase(id);
  JsonObject object;
  object.text("kind", "reply").text("site", out_.site).text("tool", tool_.name);
  object.text("gateway", out_.name).text("id", id).text("time", utcText(clock_));
  object.flag("ok", problem.empty());
  if (!problem.empty())
    object.text("reason", problem);
  std::string payload = object.take();
  payload.insert(payload.size() - 1, members);
  const std::string topic =
      plan.replyTo.empty() ? out_.topic(tool_.name, "reply/" + id) : plan.replyTo;
  delivery_.post({topic, std::move(payload)}, nullptr);
}

} // namespace velto::gateway
