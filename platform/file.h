#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The file operations that the system uses. Each is one virtual call, so that a test can make any
/// of them fail. All paths are as the platform takes them; false and nothing mean failure.
class FileSystem {
public:
  virtual ~FileSystem() = default;

  /// The whole file.
  virtual std::optional<std::string> read(const std::string &path);
  /// The length in bytes of a regular file.
  virtual std::optional<uint64_t> size(const std::string &path);
  /// Adds to the end; creates the file when it is missing.
  virtual bool append(const std::string &path, std::string_view bytes);
  /// Flushes what was added to a file to the disk.
  virtual bool flush(const std::string &path);
  /// Cuts a file to that many bytes.
  virtual bool cut(const std::string &path, uint64_t size);
  /// Makes the file hold exactly `bytes`, flushed to the disk.
  virtual bool write(const std::string &path, std::string_view bytes);
  /// Renames over an existing file.
  virtual bool rename(const std::string &from, const std::string &to);
  virtual bool remove(const std::string &path);
  /// Gives a file a second name, which must be free. Not every file system can.
  virtual bool link(const std::string &path, const std::string &name);
  /// The names of the regular files in a folder, without its path, in no order.
  virtual std::optional<std::vector<std::string>> list(const std::string &folder);
  /// When names in a folder changed last, in ns of the file system's clock, which may stand still
  /// for some ms.
  virtual std::optional<int64_t> changedAt(const std::string &folder);
  /// Makes a folder, and those above it that are missing; one that is there will do.
  virtual bool makeFolder(const std::string &path);
  /// Flushes the directory entry of a file, so that a rename survives a power loss.
  virtual bool syncDirectory(const std::string &path);

  /// Replaces a file's contents in one step: writes a new file (`path` and ".new") beside it,
  /// flushes it, renames it over the old one. A crash at any point leaves the old or the new
  /// contents whole. A failure leaves the old contents, except for one of syncDirectory(): the new
  /// contents are then in place but not yet safe from a power loss. A symbolic link stays: the file
  /// that it leads to is replaced, or made when it is missing. What is there and no regular file (a
  /// directory, device, FIFO or socket) is not replaced. After a failure errno tells the reason, 0
  /// when none is known.
  bool replace(const std::string &path, std::string_view bytes);
};

/// The operating system's files.
FileSystem &systemFiles();

} // namespace velto
