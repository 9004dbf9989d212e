#include "apps/velto/host/host_page.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostWaiting = 16;
constexpr size_t kLongestAnswer = size_t{64} * 1024;

} // namespace

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
  snapshot.tables = {std::move(commands)};
  return snapshot;
}

} // namespace velto
