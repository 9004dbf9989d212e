#pragma once

#include <string>
#include <string_view>

namespace velto {

/// A file of the page.
struct PageFile {
  std::string_view path; ///< "/app.js"
  const char *type;      ///< "text/css; charset=utf-8"
  std::string_view text;
  const char *from = nullptr; ///< where it is installed, when it is none of our own
};

/// The file at a path, and what it holds; null when there is none.
const PageFile *findPageFile(std::string_view path, std::string &text);

} // namespace velto
