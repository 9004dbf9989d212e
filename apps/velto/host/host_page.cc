#include "apps/velto/host/host_page.h"

#include "base/date_time.h"
#include "gem/messages/items.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostWaiting = 16;
constexpr size_t kLongestAnswer = size_t{64} * 1024;

constexpr size_t kMostRows = 5000; // of values or alarms

} // namespace

void HostPage::message(bool received) {
  if (!received)
    return gem_.sent();
  gem_.received();
  keepReported(host_.control().engine().gem()->slot(CHGem::kReceived).message);
}

void HostPage::keepReported(const CHSecsMessage &message) {
  const CHSecsHeader &header = message.header;
  if (header.sType() != 0)
    return;
  const std::string time = CJTime(clock_.localTime()).TimeText(0);
  if (header.stream() == 6 && header.function() == 11)
    for (const ReportedValue &value : reportedValues(message, host_.names()))
      keep(values_, {value.vid, webCell(value.variable.name), webCell(value.text),
                     webCell(value.variable.unit), time});
  if (header.stream() == 5 && header.function() == 1) {
    const bool set = (numberOf(childOf(message.root, 1)) & CHGemAlarmAlid::kSet) != 0;
    keep(alarms_, {identifierText(childOf(message.root, 2)),
                   webCell(childOf(message.root, 3).text()), set ? "set" : "clear", time});
  }
}

void HostPage::keep(Rows &rows, std::vector<std::string> cells) {
  cells[0] = webCell(cells[0]);
  const auto row = rows.find(cells[0]);
  if (row != rows.end())
    row->second = std::move(cells);
  else if (rows.size() < kMostRows)
    rows.emplace(cells[0], std::move(cells));
}

std::vector<WebRow> HostPage::rowsOf(const Rows &rows) {
  std::vector<WebRow> made;
  for (const auto &[key, cells] : rows)
    made.push_back({key, cells});
  return made;
}

std::string HostPage::run(std::string_view line) {
  busy_ = true;
  std::string problem = prompt_.run(line);
  runWaiting();
  busy_ = false;
  return problem;
}

// A script goes on with the answer that it had.
void HostPage::runWaiting() {
  while (!waiting_.empty() && !prompt_.ended() && !host_.stopped()) {
    const auto [line, done] = std::move(waiting_.front());
    waiting_.pop_front();
    std::string before = host_.answer();
    host_.setAnswer("");
    const std::string problem = prompt_.run(line, HostPrompt::Files::No);
    done({problem.empty(), problem.empty() ? host_.answer().substr(0, kLongestAnswer) : problem});
    host_.setAnswer(std::move(before));
  }
}

void HostPage::act(const WebAction &action, Done done) {
  if (action.name != "command" || action.value.find_first_of("\r\n") != std::string::npos)
    return done({false, "there is no such thing to do"});
  if (waiting_.size() >= kMostWaiting)
    return done({false, "too many commands wait"});
  waiting_.emplace_back(action.value, std::move(done));
  if (busy_)
    return;
  busy_ = true;
  runWaiting();
  busy_ = false;
}

WebSnapshot HostPage::snapshot() {
  WebSnapshot snapshot;
  snapshot.program = "host";
  gem_.addTo(snapshot);
  const std::string &model = host_.known().communication.modelName;
  snapshot.title = model.empty() ? "Host" : "Host of " + webCell(model);
  snapshot.place = host_.partner();
  snapshot.forms = {{"Send", "command", "", "a command, such as: status 101"},
                    {"Are you there", "command", "are-you-there"},
                    {"On-line", "command", "online"},
                    {"Off-line", "command", "offline"},
                    {"Status", "command", "status"},
                    {"Alarms", "command", "alarms"}};
  WebTable commands{"Commands", {{"Command"}, {"Arguments"}, {"Does"}}, {}};
  for (const HostPrompt::Help &help : HostPrompt::commands())
    commands.rows.push_back(
        {std::string(help.name),
         {std::string(help.name), std::string(help.arguments), std::string(help.help)}});
  using Kind = WebColumn::Kind;
  const auto set =
      std::ranges::count_if(alarms_, [](const auto &alarm) { return alarm.second[2] == "set"; });
  snapshot.gauges.push_back({"Alarms set", static_cast<uint64_t>(set), true});
  snapshot.tables = {{"Alarms", {{"ALID"}, {"Text"}, {"State"}, {"Reported"}}, rowsOf(alarms_)},
                     {"Values",
                      {{"VID"}, {"Name"}, {"Value", Kind::Number}, {"Unit"}, {"Reported"}},
                      rowsOf(values_)},
                     std::move(commands)};
  return snapshot;
}

} // namespace velto
