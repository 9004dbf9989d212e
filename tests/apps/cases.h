#pragma once

#include "platform/file.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velto {

/// A file of this folder.
inline std::string stored(const std::string &name) {
  const auto text = systemFiles().read(VELTO_SOURCE_DIR "/tests/apps/" + name);
  EXPECT_TRUE(text && !text->empty()) << name;
  return text.value_or("");
}

/// A case of a data file: `=== title`, the input, and behind a line `---` what is expected. An
/// empty line ends it.
struct Case {
  std::string title;
  std::string input;
  std::string expected;
};

inline std::vector<Case> storedCases(const std::string &name) {
  std::vector<Case> cases;
  const std::string text = "\n" + stored(name) + "\n=== ";
  for (size_t at = text.find("\n=== "), next = 0; at + 5 < text.size(); at = next) {
    next = text.find("\n=== ", at + 5);
    const size_t title = text.find('\n', at + 5);
    const std::string body = text.substr(title, next - title);
    const size_t mark = body.find("\n---\n");
    cases.push_back({text.substr(at + 5, title - at - 5), body.substr(1, mark),
                     mark == std::string::npos ? "" : body.substr(mark + 5)});
  }
  EXPECT_FALSE(cases.empty()) << name;
  return cases;
}

} // namespace velto
