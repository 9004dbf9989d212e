#pragma once

#include "platform/file.h"

#include <map>

namespace velto {

/// Files that live as long as this object and take no disk: what the equipments of a fleet keep.
class MemoryFiles final : public FileSystem {
public:
  std::optional<std::string> read(const std::string &path) override;
  std::optional<uint64_t> size(const std::string &path) override;
  bool append(const std::string &path, std::string_view bytes) override;
  bool flush(const std::string &) override { return true; }
  bool cut(const std::string &path, uint64_t size) override;
  bool write(const std::string &path, std::string_view bytes) override;
  bool rename(const std::string &from, const std::string &to) override;
  bool remove(const std::string &path) override { return files_.erase(path) != 0; }
  bool link(const std::string &path, const std::string &name) override;
  std::optional<std::vector<std::string>> list(const std::string &folder) override;
  bool makeFolder(const std::string &) override { return true; }
  bool syncDirectory(const std::string &) override { return true; }

private:
  std::map<std::string, std::string> files_;
};

} // namespace velto
