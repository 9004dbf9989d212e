#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velto {

/// A state model of which one state is the present one.
struct WebStates {
  std::string name; ///< "Communication"; the page draws those that it knows as a diagram
  std::vector<std::string> states;
  std::string present; ///< most often one of them
  bool operator==(const WebStates &) const = default;
};

/// A column of a table. What the user enters in one is posted as the column's action, with the key
/// of the row.
struct WebColumn {
  enum class Kind {
    Text,
    Number, ///< shown with a line of its last values
    Switch, ///< "1" or "0"
    Value,  ///< a field to change; a number is shown as above
    Button, ///< shows the name of the column
  };

  std::string name;
  Kind kind = Kind::Text;
  std::string action = {};
  bool operator==(const WebColumn &) const = default;
};

struct WebRow {
  std::string key;
  std::vector<std::string> cells; ///< one for each column
  bool operator==(const WebRow &) const = default;
};

struct WebTable {
  std::string title;
  std::vector<WebColumn> columns;
  std::vector<WebRow> rows;
};

/// A count that only grows; of a gauge a number as it is now, or was at its highest.
struct WebCounter {
  std::string name;
  uint64_t value = 0;
  bool isGauge = false;
  bool operator==(const WebCounter &) const = default;
};

/// How often something took how long.
struct WebHistogram {
  std::string name;             ///< whose time it is: "host"
  std::vector<double> bounds;   ///< seconds, ascending; the last class has none
  std::vector<uint64_t> counts; ///< of each class, one more than there are bounds
  double sum = 0;               ///< seconds
  bool operator==(const WebHistogram &) const = default;
};

/// A button, or a field with a button when there is a `hint` of what to enter. The action is posted
/// with the value, or with what was entered.
struct WebForm {
  std::string label;
  std::string action;
  std::string value = {};
  std::string hint = {};
  bool operator==(const WebForm &) const = default;
};

/// All that a page shows of a program but its messages. Made in the loop and never changed
/// afterwards, so that any thread may read it.
struct WebSnapshot {
  std::string program; ///< "equipment"
  std::string title;   ///< "ETCH-1 1.00"
  std::string place;   ///< "port 5001"
  std::vector<WebStates> states;
  std::vector<WebForm> forms;
  std::vector<WebTable> tables;
  std::vector<WebCounter> gauges;   ///< numbers beside the states: "Alarms set"
  std::vector<WebCounter> activity; ///< drawn as rates
  std::vector<WebCounter> counters;
  std::vector<WebCounter> problems;
  std::vector<WebHistogram> replies;
};

/// What a user asks for on the page.
struct WebAction {
  std::string name;
  std::string key; ///< of the row; empty for a form
  std::string value;
};

struct WebResult {
  bool done = false;
  std::string text; ///< why not, or the answer
};

} // namespace velto
