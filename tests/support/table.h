#pragma once

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace velto {

/// A row of a table of test data.
struct TableRow {
  /// An empty text for a cell behind the last.
  const std::string &operator[](size_t index) const {
    static const std::string kNone;
    return index < cells.size() ? cells[index] : kNone;
  }
  int number(size_t index) const { return std::stoi(cells.at(index), nullptr, 0); }

  std::vector<std::string> cells;
};

/// The text of a cell: \r, \n, \t and \xHH stand for bytes; blanks at its ends do not count.
inline std::string tableCell(const std::string &written) {
  const size_t first = written.find_first_not_of(' ');
  const size_t last = written.find_last_not_of(' ');
  std::string text;
  for (size_t i = first; i <= last && first != std::string::npos; ++i) {
    if (written[i] != '\\') {
      text += written[i];
    } else if (written[++i] == 'x') {
      text += static_cast<char>(std::stoi(written.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      text += written[i] == 'r' ? '\r' : written[i] == 'n' ? '\n' : '\t';
    }
  }
  return text;
}

/// The cells of a line, which " | " divides.
inline TableRow tableRow(const std::string &line) {
  TableRow row;
  for (size_t at = 0, end = 0; end != std::string::npos; at = end + 2) {
    end = line.find(" |", at);
    while (end != std::string::npos && end + 2 < line.size() && line[end + 2] != ' ')
      end = line.find(" |", end + 1);
    row.cells.push_back(tableCell(line.substr(at, end == std::string::npos ? end : end - at)));
  }
  return row;
}

/// The rows below the line "[NAME]" of a file of tests/. "#" begins a comment.
inline std::vector<TableRow> tableOf(const std::string &path, const std::string &name) {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/" + path);
  std::vector<TableRow> rows;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('['))
      inside = line == "[" + name + "]";
    else if (inside && !line.empty() && !line.starts_with('#'))
      rows.push_back(tableRow(line));
  }
  EXPECT_FALSE(rows.empty()) << path << " has no table " << name;
  return rows;
}

/// A case that is played step by step: a row holds what is done and what happens.
struct Script {
  std::string title;
  std::vector<TableRow> steps;
};

/// The scripts of a file of tests/, each below its "== TITLE". A line "NAME := TEXT" gives a text a
/// name: $NAME stands for it from there on. (a5*3) stands for a5a5a5.
inline std::vector<Script> scriptsOf(const std::string &path) {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/" + path);
  std::vector<Script> scripts;
  std::vector<std::pair<std::string, std::string>> names;
  for (std::string line; std::getline(file, line);) {
    for (const auto &[name, text] : names)
      for (size_t at = 0; (at = line.find(name, at)) != std::string::npos; at += text.size())
        line.replace(at, name.size(), text);
    for (size_t at = 0; (at = line.find('(', at)) != std::string::npos; ++at) {
      const size_t times = line.find('*', at);
      const size_t end = line.find(')', at);
      if (times > end || end == std::string::npos)
        continue;
      std::string all;
      for (int left = std::stoi(line.substr(times + 1)); left > 0; --left)
        all += line.substr(at + 1, times - at - 1);
      line.replace(at, end + 1 - at, all);
    }
    if (const size_t is = line.find(" := "); is != std::string::npos) {
      names.emplace_back("$" + line.substr(0, is), line.substr(is + 4));
      std::ranges::sort(names, [](auto &a, auto &b) { return a.first.size() > b.first.size(); });
    } else if (line.starts_with("== "))
      scripts.push_back({line.substr(3), {}});
    else if (!line.empty() && !line.starts_with('#'))
      scripts.back().steps.push_back(tableRow(line));
  }
  EXPECT_FALSE(scripts.empty()) << path;
  return scripts;
}

/// Plays each script of a file on a Player of its own, up to the first step at which something else
/// happens.
template <typename Player> void playScripts(const std::string &path) {
  for (const Script &script : scriptsOf(path)) {
    SCOPED_TRACE(script.title);
    Player player;
    for (const TableRow &step : script.steps) {
      const std::string happened = player.perform(step[0]);
      EXPECT_EQ(happened, Player::expanded(step[1])) << step[0];
      if (happened != Player::expanded(step[1]))
        break;
    }
  }
}

} // namespace velto
