#include "apps/velto/equipment/watch_view.h"

#include "apps/velto/console/glyph.h"
#include "gem/engine/gem.h"

#include <algorithm>
#include <iostream>
#include <string_view>

namespace velto {

namespace {

constexpr uint32_t kRefresh = 500;      // ms
constexpr Size kSmallestForAll{20, 72}; // on a smaller screen only one part is shown at a time
constexpr int kNumberWidth = 6;
constexpr int kNameWidth = 26;

// Removes the parts of the tree that hold no state. Returns whether the node is a state or has one
// left below it.
bool keepStates(TreeNode &node) {
  std::erase_if(node.children, [](TreeNode &child) { return !keepStates(child); });
  return !node.children.empty() || node.label.starts_with("State : ");
}

// The states of the link and of the model, one on each line.
std::vector<std::string> stateLines(CVeltoGemCtrl &control) {
  TreeNode root;
  control.engine().physical().addStatus(root);
  if (CHGem *gem = control.engine().gem()) {
    gem->communication().addStatus(root);
    gem->control().addStatus(root);
    gem->processing().addStatus(root);
  }
  keepStates(root);
  const std::string text = toText(TreeView{std::move(root.children)});
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

void appendColumn(std::string &line, std::string_view text, int width) {
  const std::string_view shown = text.substr(0, bytesWithin(text, width));
  line += shown;
  line.append(static_cast<size_t>(width - cellCount(shown) + 1), ' ');
}

std::string variableLine(const CHGemEventVid &variable) {
  std::string line;
  appendColumn(line, std::to_string(variable.vid), kNumberWidth);
  appendColumn(line, variable.description(), kNameWidth);
  line += variable.GetValue();
  if (!variable.unit().empty())
    line += ' ';
  line += variable.unit();
  return line;
}

std::string alarmLine(const CHGemAlarmAlid &alarm) {
  std::string line;
  appendColumn(line, std::to_string(alarm.alid), kNumberWidth);
  return line + alarm.altx;
}

} // namespace

WatchPicture::Sources WatchPicture::sources() const {
  Sources sources;
  auto states = stateLines(control_);
  sources[States] = {states.size(),
                     [states = std::move(states)](size_t line) { return states[line]; }};
  const auto &messages = messages_.lines();
  sources[Messages] = {messages.size(), [&messages](size_t line) { return messages[line]; }};
  CHGem *gem = control_.engine().gem();
  if (gem == nullptr)
    return sources;
  const auto &variables = gem->data().variables;
  sources[Variables] = {variables.Count(),
                        [&variables](size_t line) { return variableLine(variables.at(line)); }};
  std::vector<const CHGemAlarmAlid *> set;
  const auto &alarms = gem->data().alarms;
  for (size_t i = 0; i < alarms.Count(); ++i)
    if (alarms.at(i).isSet())
      set.push_back(&alarms.at(i));
  sources[Alarms] = {set.size(),
                     [set = std::move(set)](size_t line) { return alarmLine(*set[line]); }};
  return sources;
}

bool WatchPicture::press(const Key &key) {
  if (key.is('q') || key.isControl('C'))
    return false;
  if (key.code == Key::Code::Tab)
    focus_ = (focus_ + 1) % kParts;
  else if (key.code == Key::Code::BackTab)
    focus_ = (focus_ + kParts - 1) % kParts;
  else
    panes_[focus_].press(key);
  return true;
}

void WatchPicture::draw(Screen &screen) {
  const auto [rows, columns] = screen.size();
  std::string title = "Velto";
  if (CHGem *gem = control_.engine().gem()) {
    const CommunicationSettings &model = gem->data().communication;
    title = model.modelName + ' ' + model.softwareRevision;
  }
  title += " - port " + std::to_string(control_.engine().physical().LocalPort());
  screen.fill({0, 0, 1, columns}, Look::Reverse);
  screen.put(0, 1, title, columns - 2, Look::Reverse);
  drawParts(screen, {1, 0, rows - 2, columns}, sources());
  screen.fill({rows - 1, 0, 1, columns}, Look::Reverse);
  screen.put(rows - 1, 1, "q: end  Tab: next part  Up/Down: scroll", columns - 2, Look::Reverse);
}

// States and alarms on the left, variables on the right, messages below.
void WatchPicture::drawParts(Screen &screen, const Rect &area, const Sources &lines) {
  std::array<Rect, kParts> places{};
  if (area.rows + 2 < kSmallestForAll.rows || area.columns < kSmallestForAll.columns) {
    places[focus_] = area;
  } else {
    const int left = area.columns * 2 / 5;
    const int messages = area.rows / 3;
    const int top = area.rows - messages;
    const int states = std::min(static_cast<int>(lines[States].count) + 1, top - 3);
    places[States] = {area.row, 0, states, left};
    places[Alarms] = {area.row + states, 0, top - states, left};
    places[Variables] = {area.row, left, top, area.columns - left};
    places[Messages] = {area.row + top, 0, messages, area.columns};
  }
  for (size_t part = 0; part < kParts; ++part)
    if (places[part].rows > 0)
      panes_[part].draw(screen, places[part], lines[part], part == focus_);
}

WatchView::WatchView(EventLoop &loop, CVeltoGemCtrl &control, const RecentLines &messages,
                     std::function<void()> onEnd)
    : picture_(control, messages), onEnd_(std::move(onEnd)), out_(std::cout), err_(std::cerr),
      terminal_(loop, [this] { handle(); }), timer_(loop, [this] { draw(); }) {
  timer_.startPeriodic(kRefresh);
  draw();
}

void WatchView::handle() {
  bool goesOn = terminal_.stopSignal() == 0;
  while (const auto key = terminal_.nextKey())
    goesOn = picture_.press(*key) && goesOn;
  if (!goesOn)
    return onEnd_();
  draw();
}

void WatchView::draw() {
  Screen screen(terminal_.size());
  picture_.draw(screen);
  terminal_.draw(std::move(screen));
}

} // namespace velto
