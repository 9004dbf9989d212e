#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace velto {

/// A fresh directory that is removed with everything in it.
class TemporaryDirectory {
public:
  TemporaryDirectory() : path_((std::filesystem::temp_directory_path() / "velto.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr)
      std::abort();
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory &) = delete;
  TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

  /// The path of an entry of the directory.
  std::string operator/(const std::string &name) const { return path_ + '/' + name; }

private:
  std::string path_;
};

} // namespace velto
