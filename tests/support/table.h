#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <string>
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

/// The rows below the line "[NAME]" of a file of tests/. "#" begins a comment; " | " divides cells.
inline std::vector<TableRow> tableOf(const std::string &path, const std::string &name) {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/" + path);
  std::vector<TableRow> rows;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('['))
      inside = line == "[" + name + "]";
    else if (inside && !line.empty() && !line.starts_with('#')) {
      TableRow &row = rows.emplace_back();
      for (size_t at = 0, end = 0; end != std::string::npos; at = end + 2) {
        end = line.find(" |", at);
        while (end != std::string::npos && end + 2 < line.size() && line[end + 2] != ' ')
          end = line.find(" |", end + 1);
        row.cells.push_back(tableCell(line.substr(at, end == std::string::npos ? end : end - at)));
      }
    }
  }
  EXPECT_FALSE(rows.empty()) << path << " has no table " << name;
  return rows;
}

} // namespace velto
