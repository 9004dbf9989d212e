#include "apps/gateway/request_body.h"

#include "base/text.h"
#include "gem/messages/items.h"
#include "gem/messages/stream7.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace velto::gateway {

namespace {

using Json = nlohmann::json;

constexpr double kLongestPatience = 3600; // s

// What a request lacks, thrown up to readRequest(), which is the only one to see it.
struct Refusal {
  std::string reason;
};

CHSecsMessage messageOf(uint8_t stream, uint8_t function, CHSecsItem &&root) {
  CHSecsMessage message;
  message.SetFromSml(formatText("s%uf%uw", stream, function));
  message.root = std::move(root);
  return message;
}

std::string textOf(const Json &request, const char *key) {
  const auto found = request.find(key);
  if (found == request.end() || !found->is_string() ||
      found->get_ref<const std::string &>().empty())
    throw Refusal{std::string("\"") + key + "\" is needed, a text"};
  return found->get<std::string>();
}

// Text as the tool has it: characters beyond ASCII are those of ISO 8859-1.
std::string toolText(const std::string &utf8) {
  std::string text;
  for (size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    const bool two = (byte == 0xC2 || byte == 0xC3) && i + 1 < utf8.size();
    if (byte < 0x80)
      text += utf8[i];
    else if (two)
      text += static_cast<char>(((byte & 3) << 6) | (static_cast<unsigned char>(utf8[++i]) & 0x3F));
    else
      throw Refusal{"a text has a character that ISO 8859-1 has not"};
  }
  return text;
}

// The text of a value: a number as it was written, true and false as 1 and 0.
std::string valueOf(const Json &value) {
  if (value.is_string())
    return toolText(value.get<std::string>());
  if (value.is_boolean())
    return value.get<bool>() ? "1" : "0";
  if (value.is_number())
    return value.dump();
  throw Refusal{"a value is a number, a text, true or false"};
}

// An item of the type that the tool's model has, of a value that is within its bounds.
CHSecsItem typedItem(CHGemEventVid variable, const Json &value, const std::string &what) {
  const std::string text = valueOf(value);
  if (!variable.CanHold(text) || !variable.IsInRange(text))
    throw Refusal{what + ": " + value.dump() + " is no value for it, or is out of its range"};
  variable.SetValue(text);
  return itemFromSml(variable.rawValue());
}

// An item of the type that JSON has, where nothing else is known.
CHSecsItem plainItem(const Json &value) {
  if (value.is_boolean())
    return numberItem(value.get<bool>() ? 1 : 0, format::kBoolean);
  CHSecsItem item;
  if (value.is_number_unsigned() && value.get<uint64_t>() <= std::numeric_limits<uint32_t>::max())
    item.setNumber(value.get<double>(), format::kU4);
  else if (value.is_number_integer() &&
           value.get<int64_t>() >= std::numeric_limits<int32_t>::min() && value.get<int64_t>() <= 0)
    item.setNumber(value.get<double>(), format::kI4);
  else if (value.is_number())
    item.setNumber(value.get<double>(), format::kF8);
  else
    item.setText(valueOf(value), format::kAscii);
  return item;
}

/// Makes the messages of one request.
class Planner {
public:
  Planner(const Json &request, const Names &names, RequestPlan &plan)
      : request_(request), names_(names), plan_(plan) {}

  void run() {
    const std::string word = textOf(request_, "do");
    const auto actions = actionNames();
    const auto found = std::ranges::find(actions, word);
    if (found == actions.end())
      throw Refusal{"\"do\": there is no \"" + word + '"'};
    plan_.action = static_cast<Action>(found - actions.begin());
    if (const auto topic = request_.find("reply_to"); topic != request_.end())
      plan_.replyTo = textOf(request_, "reply_to");
    if (const auto seconds = request_.find("timeout"); seconds != request_.end()) {
      const double limit = seconds->is_number() ? seconds->get<double>() : 0;
      if (!(limit >= 0.1 && limit <= kLongestPatience))
        throw Refusal{"\"timeout\" is seconds, 0.1 to 3600"};
      plan_.timeout = static_cast<uint32_t>(limit * 1000);
    }
    const Maker make = kMakers[static_cast<size_t>(plan_.action)];
    (this->*make)();
  }

private:
  using Maker = void (Planner::*)();
  static const Maker kMakers[8];

  void add(uint8_t stream, uint8_t function, CHSecsItem &&root = {}) {
    plan_.messages.push_back(messageOf(stream, function, std::move(root)));
  }

  // S2F41.
  void command() {
    const std::string name = toolText(textOf(request_, "name"));
    plan_.names.push_back(name);
    const CHGemCommand *known = findCommand(names_.model().commands, name);
    if (known == nullptr && !names_.empty())
      throw Refusal{"the tool has no command " + name};
    CHSecsItem parameters = listItem();
    std::set<std::string> given;
    const Json none = Json::object();
    const auto found = request_.find("parameters");
    const Json &all = found == request_.end() ? none : *found;
    if (!all.is_object())
      throw Refusal{"\"parameters\" is an object of names and values"};
    for (const auto &[key, value] : all.items()) {
      const std::string parameter = toolText(key);
      given.insert(parameter);
      parameters.appendChild(listItem(textItem(parameter), parameterItem(known, parameter, value)));
    }
    for (size_t i = 0; known != nullptr && i < known->parameters.size(); ++i)
      if (known->parameters[i].required && !given.contains(known->parameters[i].name))
        throw Refusal{"the parameter " + known->parameters[i].name + " is needed"};
    add(2, 41, listItem(textItem(name), std::move(parameters)));
  }

  static CHSecsItem parameterItem(const CHGemCommand *known, const std::string &name,
                                  const Json &value) {
    if (known == nullptr)
      return plainItem(value);
    const CHGemCommandParameter *parameter = known->find(name);
    if (parameter == nullptr)
      throw Refusal{"the command has no parameter " + name};
    CHGemEventVid holder;
    holder.nodeType = parameter->nodeType;
    return typedItem(std::move(holder), value, name);
  }

  uint32_t variable(const Json &which, uint8_t kinds) const {
    if (which.is_number_unsigned() && which.get<uint64_t>() <= std::numeric_limits<uint32_t>::max())
      return checked(which.get<uint32_t>(), kinds);
    if (!which.is_string())
      throw Refusal{"a variable is a number or a name"};
    const std::string name = toolText(which.get<std::string>());
    if (const auto found = names_.findVariable(name))
      return checked(*found, kinds);
    const auto number = wholeNumber(name, 0, std::numeric_limits<int32_t>::max());
    if (!number)
      throw Refusal{"there is no variable " + name};
    return checked(static_cast<uint32_t>(*number), kinds);
  }
  uint32_t checked(uint32_t vid, uint8_t kinds) const {
    if (!names_.empty() && names_.model().variables.FindVid(vid, kinds) == nullptr)
      throw Refusal{"there is no such variable: " + std::to_string(vid)};
    return vid;
  }

  void ask(uint8_t stream, uint8_t function, uint8_t kinds) {
    const auto found = request_.find("values");
    if (found == request_.end() || !found->is_array() || found->empty())
      throw Refusal{"\"values\" is a list of variables"};
    CHSecsItem vids = listItem();
    for (const Json &which : *found) {
      plan_.vids.push_back(variable(which, kinds));
      plan_.names.push_back(std::to_string(plan_.vids.back()));
      vids.appendChild(numberItem(plan_.vids.back()));
    }
    add(stream, function, std::move(vids));
  }
  void values() { ask(1, 3, StatusVariable); }
  void constants() { ask(2, 13, EquipmentConstant); }

  // S2F15.
  void set() {
    const auto found = request_.find("values");
    if (found == request_.end() || !found->is_object() || found->empty())
      throw Refusal{"\"values\" is an object of constants and values"};
    CHSecsItem constants = listItem();
    for (const auto &[key, value] : found->items()) {
      const uint32_t ecid = variable(Json(key), EquipmentConstant);
      const CHGemEventVid *known = names_.variable(ecid);
      plan_.names.push_back(std::to_string(ecid));
      constants.appendChild(listItem(
          numberItem(ecid), known == nullptr ? plainItem(value) : typedItem(*known, value, key)));
    }
    add(2, 15, std::move(constants));
  }

  void recipes() { add(7, stream7::Directory); }
  void recipe() {
    const std::string name = toolText(textOf(request_, "name"));
    plan_.names.push_back(name);
    add(7, stream7::RequestBody, textItem(name));
  }
  // S7F1, and S7F3 or S7F23 when it is granted.
  void sendRecipe() {
    const std::string name = toolText(textOf(request_, "name"));
    plan_.names.push_back(name);
    CHSecsMessage body;
    if (!body.SetFromSml("s7f3w " + toolText(textOf(request_, "sml"))) || !body.root.hasData())
      throw Refusal{"\"sml\" holds no item in SML"};
    const bool formatted = body.root.isList();
    add(7, stream7::Inquire, listItem(textItem(name), numberItem(stream7::lengthOf(body.root))));
    add(7, formatted ? stream7::SendFormatted : stream7::SendBody,
        stream7::sentBody(name, std::move(body.root)));
  }
  void sml() {
    CHSecsMessage message;
    SmlError error;
    const bool read = message.SetFromSml(toolText(textOf(request_, "sml")), &error);
    const CHSecsHeader &header = message.header;
    if (!read || header.sType() != 0 || header.function() % 2 == 0)
      throw Refusal{read ? "\"sml\" is no primary message" : error.whatAndWhere()};
    plan_.names.push_back(formatText("S%uF%u", header.stream(), header.function()));
    plan_.messages.push_back(std::move(message));
  }

  const Json &request_;
  const Names &names_;
  RequestPlan &plan_;
};

const Planner::Maker Planner::kMakers[] = {
    &Planner::command, &Planner::values, &Planner::constants,  &Planner::set,
    &Planner::recipes, &Planner::recipe, &Planner::sendRecipe, &Planner::sml};

} // namespace

RequestPlan readRequest(std::string_view json, const Names &names) {
  RequestPlan plan;
  const Json request = Json::parse(json, nullptr, false);
  if (!request.is_object()) {
    plan.problem = "the request is no JSON object";
    return plan;
  }
  try {
    Planner(request, names, plan).run();
  } catch (const Refusal &refusal) {
    plan.problem = refusal.reason;
  }
  return plan;
}

} // namespace velto::gateway
