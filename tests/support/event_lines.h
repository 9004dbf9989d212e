#pragma once

#include "controls/component/control.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// Keeps every event of a control as a line ("Received 127.0.0.1 5000 0102"), and lets a test act
/// inside the event.
class EventLines {
public:
  explicit EventLines(Control &control) {
    control.observe([this](const Member &event, Arguments arguments) {
      std::string line = event.name;
      for (const Variant &argument : arguments)
        line += " " + argument.text();
      lines_.push_back(line);
      if (onEvent)
        onEvent(event.name);
    });
  }

  size_t size() const { return lines_.size(); }
  /// The lines since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

  std::function<void(const std::string &name)> onEvent;

private:
  std::vector<std::string> lines_;
};

} // namespace velto
