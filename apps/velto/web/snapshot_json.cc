#include "apps/velto/web/snapshot_json.h"

#include "base/json_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace velto {

namespace {

using Kind = WebColumn::Kind;

struct KindName {
  Kind kind;
  std::string_view name;
};
constexpr std::array kKindNames = {
    KindName{Kind::Text, "text"},     KindName{Kind::Number, "number"},
    KindName{Kind::Switch, "switch"}, KindName{Kind::Value, "value"},
    KindName{Kind::Button, "button"},
};

// Overloads of one name, so that lists of all of them are written by one template.
std::string json(const std::string &text) { return jsonText(text); }
std::string json(uint64_t number) { return std::to_string(number); }
std::string json(bool value) { return value ? "true" : "false"; }

std::string json(double number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

std::string json(Kind kind) {
  return jsonText(std::ranges::find(kKindNames, kind, &KindName::kind)->name);
}

std::string json(const WebStates &states);
std::string json(const WebColumn &column);
std::string json(const WebRow &row);
std::string json(const WebTable &table);
std::string json(const WebCounter &counter);
std::string json(const WebHistogram &histogram);
std::string json(const WebForm &form);
std::string json(const WebEntry &entry);

template <typename Value> std::string json(const std::vector<Value> &values) {
  std::string list = "[";
  for (const Value &value : values)
    list += (list.size() == 1 ? "" : ",") + json(value);
  return list + ']';
}

class JsonObject {
public:
  template <typename Value> JsonObject &add(std::string_view name, const Value &value) {
    return addText(name, json(value));
  }
  JsonObject &addText(std::string_view name, const std::string &value) {
    text_ += (text_.size() == 1 ? "" : ",") + jsonText(name) + ':' + value;
    return *this;
  }
  bool isEmpty() const { return text_.size() == 1; }
  std::string text() const { return text_ + '}'; }

private:
  std::string text_ = "{";
};

std::string json(const WebStates &states) {
  return JsonObject()
      .add("name", states.name)
      .add("states", states.states)
      .add("present", states.present)
      .text();
}

std::string json(const WebColumn &column) {
  return JsonObject()
      .add("name", column.name)
      .add("kind", column.kind)
      .add("action", column.action)
      .text();
}

std::string json(const WebRow &row) {
  return JsonObject().add("key", row.key).add("cells", row.cells).text();
}

std::string json(const WebTable &table) {
  return JsonObject()
      .add("title", table.title)
      .add("columns", table.columns)
      .add("rows", table.rows)
      .text();
}

std::string json(const WebCounter &counter) {
  return JsonObject()
      .add("name", counter.name)
      .add("value", counter.value)
      .add("isGauge", counter.isGauge)
      .text();
}

std::string json(const WebHistogram &histogram) {
  return JsonObject()
      .add("name", histogram.name)
      .add("bounds", histogram.bounds)
      .add("counts", histogram.counts)
      .add("sum", histogram.sum)
      .text();
}

std::string json(const WebForm &form) {
  return JsonObject()
      .add("label", form.label)
      .add("action", form.action)
      .add("value", form.value)
      .add("hint", form.hint)
      .text();
}

std::string json(const WebEntry &entry) {
  return JsonObject()
      .add("number", entry.number)
      .add("time", entry.time)
      .add("kind", entry.kind)
      .add("text", entry.text)
      .add("sml", entry.sml)
      .add("hex", entry.hex)
      .text();
}

bool sameShape(const WebTable &before, const WebTable &now) {
  return before.title == now.title && before.columns == now.columns &&
         std::ranges::equal(before.rows, now.rows, {}, &WebRow::key, &WebRow::key);
}

// The rows that changed, as a list.
std::string changedRows(const WebSnapshot &before, const WebSnapshot &now) {
  std::string list = "[";
  for (size_t table = 0; table < now.tables.size(); ++table)
    for (size_t row = 0; row < now.tables[table].rows.size(); ++row)
      if (const WebRow &present = now.tables[table].rows[row];
          present != before.tables[table].rows[row])
        list += (list.size() == 1 ? "[" : ",[") + std::to_string(table) + ',' +
                std::to_string(row) + ',' + json(present.cells) + ']';
  return list + ']';
}

} // namespace

std::string toJson(const WebSnapshot &snapshot) {
  return JsonObject()
      .add("program", snapshot.program)
      .add("title", snapshot.title)
      .add("place", snapshot.place)
      .add("states", snapshot.states)
      .add("forms", snapshot.forms)
      .add("tables", snapshot.tables)
      .add("gauges", snapshot.gauges)
      .add("activity", snapshot.activity)
      .add("counters", snapshot.counters)
      .add("problems", snapshot.problems)
      .add("replies", snapshot.replies)
      .text();
}

std::string toJsonChange(const WebSnapshot &before, const WebSnapshot &now) {
  if (before.title != now.title || before.place != now.place || before.forms != now.forms ||
      !std::ranges::equal(before.tables, now.tables, sameShape))
    return toJson(now);
  JsonObject change;
  const auto addChanged = [&](std::string_view name, auto part) {
    if (before.*part != now.*part)
      change.add(name, now.*part);
  };
  addChanged("states", &WebSnapshot::states);
  addChanged("gauges", &WebSnapshot::gauges);
  addChanged("activity", &WebSnapshot::activity);
  addChanged("counters", &WebSnapshot::counters);
  addChanged("problems", &WebSnapshot::problems);
  addChanged("replies", &WebSnapshot::replies);
  if (const std::string rows = changedRows(before, now); rows != "[]")
    change.addText("changed", rows);
  return change.isEmpty() ? "" : change.text();
}

std::string toJson(const WebFeed::News &news) {
  return JsonObject().add("entries", news.entries).add("leftOut", news.leftOut).text();
}

std::string toJson(const WebResult &result) {
  return JsonObject().add("done", result.done).add("text", result.text).text();
}

} // namespace velto
