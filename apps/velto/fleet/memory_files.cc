#include "apps/velto/fleet/memory_files.h"

#include <utility>

namespace velto {

std::optional<std::string> MemoryFiles::read(const std::string &path) {
  const auto file = files_.find(path);
  return file == files_.end() ? std::nullopt : std::optional(file->second);
}

std::optional<uint64_t> MemoryFiles::size(const std::string &path) {
  const auto file = files_.find(path);
  return file == files_.end() ? std::nullopt : std::optional<uint64_t>(file->second.size());
}

bool MemoryFiles::append(const std::string &path, std::string_view bytes) {
  files_[path] += bytes;
  return true;
}

bool MemoryFiles::cut(const std::string &path, uint64_t size) {
  const auto file = files_.find(path);
  if (file == files_.end())
    return false;
  file->second.resize(static_cast<size_t>(size));
  return true;
}

bool MemoryFiles::write(const std::string &path, std::string_view bytes) {
  files_[path] = bytes;
  return true;
}

bool MemoryFiles::rename(const std::string &from, const std::string &to) {
  auto node = files_.extract(from);
  if (node.empty())
    return false;
  files_[to] = std::move(node.mapped());
  return true;
}

bool MemoryFiles::link(const std::string &path, const std::string &name) {
  const auto file = files_.find(path);
  return file != files_.end() && files_.emplace(name, file->second).second;
}

std::optional<std::vector<std::string>> MemoryFiles::list(const std::string &folder) {
  std::vector<std::string> names;
  const std::string prefix = folder + '/';
  for (const auto &[path, bytes] : files_)
    if (path.starts_with(prefix) && path.find('/', prefix.size()) == std::string::npos)
      names.push_back(path.substr(prefix.size()));
  return names;
}

} // namespace velto
