#include "apps/velto/console/gem_console.h"

#include "apps/velto/console/line_text.h"
#include "apps/velto/console/literal.h"
#include "base/json_text.h"
#include "base/text.h"
#include "gem/engine/gem.h"
#include "secs2/message_json.h"
#include "secs2/message_table.h"
#include "secs2/sml_printer.h"
#include "transport/hsms/hsms_engine.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostOfSml = kMostOnScreen - 1024; // with room for the indentation of some lines
constexpr size_t kMostOfBody = size_t{1} << 20;     // bytes of JSON

struct JsonValue {
  std::string operator()(const std::string &text) const { return jsonText(text); }
  std::string operator()(int64_t number) const { return std::to_string(number); }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(const std::vector<NamedCounter> &counters) const {
    std::string object = "{";
    for (const NamedCounter &counter : counters)
      if (counter.value != 0)
        object += (object.size() == 1 ? "" : ",") + jsonText(counter.name) + ':' +
                  std::to_string(counter.value);
    return object + '}';
  }
  std::string operator()(const std::vector<ConnectionCounters> &connections) const {
    std::string object = "{";
    for (const ConnectionCounters &connection : connections)
      object += (object.size() == 1 ? "" : ",") + jsonText(connection.remote) + ':' +
                (*this)(namedCounters(connection.counters));
    return object + '}';
  }
};

const char *standardName(const CVeltoGemCtrl &control) {
  const MessageRow *row =
      findMessage(static_cast<uint8_t>(control.Stream()), static_cast<uint8_t>(control.Function()));
  return row != nullptr && control.SType() == 0 ? row->name : "";
}

// The body as members of a JSON object. What was sent is there as bytes, unless someone has looked
// at it; what was received is there as items.
std::string bodyMembers(CVeltoGemCtrl &control, bool received) {
  CHGem *gem = control.engine().gem();
  if (const ByteView sent = gem != nullptr && !received ? gem->sentBytes() : ByteView();
      !sent.empty())
    return bodyJsonMembers(sent.subspan(CHSecsHeader::kSize), {.most = kMostOfBody});
  Bytes bytes;
  if (gem != nullptr)
    gem->slot(received ? CHGem::kReceived : CHGem::kSent).message.Encode(bytes);
  else
    bytes = fromHex(control.Msg());
  return bodyJsonMembers(ByteView(bytes).subspan(std::min(bytes.size(), CHSecsHeader::kSize)),
                         {.encodings = false, .most = kMostOfBody});
}

} // namespace

// Without the equipment model (a script can switch it off) the control has the message as
// hexadecimal text.
std::string messageSml(CVeltoGemCtrl &control, bool received, size_t most) {
  const size_t enough = 8 * most; // bytes: eight are two characters at least
  CHGem *gem = control.engine().gem();
  if (const ByteView sent = gem != nullptr && !received ? gem->sentBytes() : ByteView();
      sent.size() > enough) {
    CHSecsMessage beginning;
    beginning.Decode(sent.first(enough));
    return RenderSml(beginning, gem, most);
  }
  if (gem != nullptr)
    return RenderSml(gem->slot(received ? CHGem::kReceived : CHGem::kSent).message, gem, most);
  CHSecsMessage message;
  message.SetMsg(control.Msg());
  return RenderSml(message, nullptr, most);
}

// The first line of the SML names the message.
std::string messageTitle(const CVeltoGemCtrl &control, std::string_view sml) {
  const std::string name = standardName(control);
  return std::string(sml.substr(0, sml.find('\n'))) + (name.empty() ? "" : "  " + name);
}

void GemConsole::follow(CVeltoGemCtrl &control) {
  const auto peer = [this](const char *name, bool isThere) {
    return [this, name, isThere](const std::string &address, int32_t port) {
      const std::string number = port == 0 ? "" : ':' + std::to_string(port); // a serial port
      partner_ = isThere ? address + number : "";
      event(name, std::string(name) + ": " + address + number,
            {{"address", address}, {"port", int64_t{port}}});
    };
  };
  const auto state = [this](std::string_view name, const std::string &value) {
    event(name, std::string(name) + ": " + value, {{"state", value}});
  };
  control.onConnected = peer("connected", true);
  control.onDisconnected = [this, &control, lost = peer("disconnected", false)](
                               const std::string &address, int32_t port) {
    lost(address, port);
    counters(control);
  };
  control.onConnectionStateChanged = [state, &control](int16_t next, int16_t) {
    const CHPhysicalConnection &link = control.engine().physical();
    state("link",
          link.isHsms() ? hsmsStateText(static_cast<LinkState>(next)) : link.link().stateText());
  };
  control.onCommunicationStateChanged = [state](int16_t next, int16_t) {
    state("communication", stateName<CommunicationState>(static_cast<uint8_t>(next), "Unknown"));
  };
  control.onControlStateChanged = [state](int16_t next, int16_t) {
    state("control", stateName<ControlState>(static_cast<uint8_t>(next)));
  };
  control.onProblem = [this, &control](int16_t code, const std::string &text) {
    problem(control, text, code);
  };
  control.onVIDChanged = [this, &control](int32_t vid) {
    const std::string name = control.VIDDescription(vid);
    const std::string value = control.VIDValue(vid);
    event("constant",
          formatText("constant: %u ", static_cast<uint32_t>(vid)) + name + " = " + value,
          {{"vid", int64_t{static_cast<uint32_t>(vid)}}, {"name", name}, {"value", value}});
  };
}

void GemConsole::received(CVeltoGemCtrl &control) {
  message(control, true);
  if (const std::string finding = control.VerificationText(); !finding.empty())
    problem(finding);
}

void GemConsole::message(CVeltoGemCtrl &control, bool received) {
  if (style_ == Style::Quiet)
    return;
  const std::string bodyJson = style_ == Style::Json ? bodyMembers(control, received) : "";
  std::string sml = messageSml(control, received, kMostOfSml);
  std::erase(sml, '\r');
  const size_t end = std::min(sml.find('\n'), sml.size());
  const std::string header = sml.substr(0, end);
  const std::string name = standardName(control);
  if (style_ == Style::Json) {
    std::string line =
        object(received ? "received" : "sent",
               {{"message", header},
                {"name", name},
                {"system_bytes", int64_t{static_cast<uint32_t>(control.SystemBytes())}},
                {"sml", sml},
                {"stream", int64_t{control.Stream()}},
                {"function", int64_t{control.Function()}},
                {"wbit", control.Wbit()},
                {"session", int64_t{control.SessionID()}},
                {"ptype", int64_t{control.PType()}},
                {"stype", int64_t{control.SType()}}});
    return print(line.insert(line.size() - 1, bodyJson));
  }
  const std::string_view body = std::string_view(sml).substr(end);
  print(stamp() + (received ? "<-- " : "--> ") + messageTitle(control, sml) +
        indented(body.substr(0, body.find_last_not_of('\n') + 1)));
}

void GemConsole::event(std::string_view name, const std::string &text,
                       const std::vector<Field> &fields) {
  if (observer_)
    observer_(name, text);
  if (style_ == Style::Json)
    print(object(name, fields));
  else if (style_ == Style::Text)
    print(stamp() + text);
}

void GemConsole::problem(CVeltoGemCtrl &control, const std::string &text, int16_t code) {
  const auto &primary = control.engine().unanswered();
  if (!primary)
    return problem(text, {{"code", int64_t{code}}});
  problem(text, {{"code", int64_t{code}},
                 {"message", HeaderText(*primary, HeaderTextMode::Name)},
                 {"stream", int64_t{primary->stream()}},
                 {"function", int64_t{primary->function()}},
                 {"system_bytes", int64_t{primary->systemBytes}}});
}

bool GemConsole::toJournal(const std::string &text, const std::vector<Field> &fields) {
  static constexpr std::pair<std::string_view, std::string_view> kNames[] = {
      {"code", "VELTO_PROBLEM="},
      {"stream", "VELTO_STREAM="},
      {"function", "VELTO_FUNCTION="},
      {"system_bytes", "VELTO_SYSTEM_BYTES="}};
  if (journal_ == nullptr)
    return false;
  std::vector<std::string> entry;
  for (const auto &[name, journalName] : kNames)
    if (const auto field = std::ranges::find(fields, name, &Field::name); field != fields.end())
      entry.push_back(std::string(journalName) + std::to_string(std::get<int64_t>(field->value)));
  if (!partner_.empty())
    entry.push_back("VELTO_LINK=" + partner_);
  return journal_->problem(text, std::move(entry));
}

void GemConsole::problem(const std::string &text, std::vector<Field> fields) {
  if (observer_)
    observer_("problem", text);
  if (toJournal(text, fields))
    return;
  fields.push_back({"text", text});
  if (style_ == Style::Json)
    print(object("problem", fields));
  else
    print(stamp() + "problem: " + text);
}

void GemConsole::counters(const CVeltoGemCtrl &control) {
  if (style_ != Style::Json)
    return;
  std::vector<Field> fields{{"counters", namedCounters(control.counters())}};
  if (auto connections = control.connectionCounters(); !connections.empty())
    fields.push_back({"connections", std::move(connections)});
  print(object("counters", fields));
}

void GemConsole::plain(const std::string &text) {
  if (style_ == Style::Json)
    print(object("output", {{"text", text}}));
  else if (style_ == Style::Text)
    print(text);
}

std::string GemConsole::leftOut(uint64_t lines) const {
  const std::string number = std::to_string(lines);
  return style_ == Style::Json ? object("left_out", {{"lines", static_cast<int64_t>(lines)}}) + '\n'
                               : stamp() + number + " lines of output were left out\n";
}

std::string GemConsole::object(std::string_view event, const std::vector<Field> &fields) const {
  std::string line = "{\"time\":\"" + isoTime(clock_.localTime()) + "\",\"event\":";
  line += jsonText(event);
  for (const Field &field : fields)
    line += ',' + jsonText(field.name) + ':' + std::visit(JsonValue{}, field.value);
  return line + '}';
}

void GemConsole::print(std::string_view text) {
  if (!prompt_.empty())
    out_ << "\r\x1b[K"; // clears the terminal's line, which holds the prompt
  out_ << visibleText(text) << '\n' << prompt_;
  out_.flush();
}

void GemConsole::showPrompt(std::string prompt) {
  prompt_ = std::move(prompt);
  out_ << prompt_ << std::flush;
}

std::string GemConsole::stamp() const { return timeStamp(clock_.localTime()); }

} // namespace velto
