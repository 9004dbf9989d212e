#pragma once

#include "base/ini_text.h"
#include "platform/file.h"

namespace velto {

/// An INI file on the disk. A missing file reads as empty.
class IniFile : public IniText {
public:
  explicit IniFile(std::string path, FileSystem &files = systemFiles());

  /// Writes the file in one step; false when that fails, the file then being whole. A file that
  /// is there but could not be read is not overwritten.
  bool save();

private:
  std::string path_;
  FileSystem &files_;
  bool unreadable_ = false;
};

} // namespace velto
