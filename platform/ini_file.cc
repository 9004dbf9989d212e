#include "platform/ini_file.h"

#include <utility>

namespace velto {

IniFile::IniFile(std::string path, FileSystem &files) : path_(std::move(path)), files_(files) {
  if (const auto bytes = files_.read(path_))
    IniText::operator=(IniText(*bytes));
  else
    unreadable_ = files_.size(path_).has_value();
}

bool IniFile::save() { return !unreadable_ && files_.replace(path_, text()); }

} // namespace velto
