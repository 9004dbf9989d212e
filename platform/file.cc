#include "platform/file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velto {

namespace {

/// Repeats a system call that a signal interrupted.
template <typename Call> auto uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR)
    result = call();
  return result;
}

/// An open file, closed when it goes out of scope.
class OpenFile {
public:
  OpenFile(const std::string &path, int flags)
      : fd_(uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, 0666); })) {}
  ~OpenFile() {
    if (isOpen())
      ::close(fd_);
  }
  OpenFile(const OpenFile &) = delete;
  OpenFile &operator=(const OpenFile &) = delete;

  bool isOpen() const { return fd_ >= 0; }

  bool writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = uninterrupted([&] { return ::write(fd_, bytes.data(), bytes.size()); });
      if (count < 0)
        return false;
      bytes.remove_prefix(static_cast<size_t>(count));
    }
    return true;
  }

  bool readAll(std::string &bytes) {
    static constexpr size_t kChunk = 16384;
    for (size_t used = 0;;) {
      bytes.resize(used + kChunk);
      const ssize_t count = uninterrupted([&] { return ::read(fd_, &bytes[used], kChunk); });
      used += static_cast<size_t>(count < 0 ? 0 : count);
      if (count <= 0) {
        bytes.resize(used);
        return count == 0;
      }
    }
  }

  bool flush() {
    return uninterrupted([&] { return ::fsync(fd_); }) == 0;
  }

  /// The same for what the file holds and its length alone.
  bool flushData() {
    return uninterrupted([&] { return ::fdatasync(fd_); }) == 0;
  }

  /// False when the file system reports a late write error. Never repeated: the descriptor is
  /// gone even after an interruption.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0 || errno == EINTR; }

private:
  int fd_;
};

std::string directoryOf(const std::string &path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos)
    return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

// Why a path cannot be replaced by a file; 0 when it can. To rename over a device or a FIFO would
// take it from all who use it.
int obstacle(const std::string &path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode))
    return 0;
  return S_ISDIR(info.st_mode) ? EISDIR : ENOTSUP;
}

// What a path leads to over symbolic links, be it there or not. Nothing when they lead in a circle.
std::optional<std::filesystem::path> linkTarget(std::filesystem::path path) {
  constexpr int kMostLinks = 40; // as the system has it
  for (int links = 0; links <= kMostLinks; ++links) {
    std::error_code error;
    const std::filesystem::path next = std::filesystem::read_symlink(path, error);
    if (error)
      return path;
    path = path.parent_path() / next;
  }
  return std::nullopt;
}

// Gives the new file the permissions of the old one, if there is one.
bool keepMode(const std::string &from, const std::string &to) {
  struct stat info {};
  return ::stat(from.c_str(), &info) != 0 || ::chmod(to.c_str(), info.st_mode & 07777) == 0;
}

} // namespace

std::optional<std::string> FileSystem::read(const std::string &path) {
  OpenFile file(path, O_RDONLY);
  std::string bytes;
  if (!file.isOpen() || !file.readAll(bytes))
    return std::nullopt;
  return bytes;
}

std::optional<uint64_t> FileSystem::size(const std::string &path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
    return std::nullopt;
  return static_cast<uint64_t>(info.st_size);
}

bool FileSystem::append(const std::string &path, std::string_view bytes) {
  OpenFile file(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK); // a pipe without a reader fails
  return file.isOpen() && file.writeAll(bytes) && file.close();
}

bool FileSystem::flush(const std::string &path) {
  OpenFile file(path, O_WRONLY | O_NONBLOCK);
  return file.isOpen() && file.flushData() && file.close();
}

bool FileSystem::cut(const std::string &path, uint64_t size) {
  return uninterrupted([&] { return ::truncate(path.c_str(), static_cast<off_t>(size)); }) == 0;
}

bool FileSystem::write(const std::string &path, std::string_view bytes) {
  OpenFile file(path, O_WRONLY | O_CREAT | O_TRUNC);
  return file.isOpen() && file.writeAll(bytes) && file.flush() && file.close();
}

bool FileSystem::rename(const std::string &from, const std::string &to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool FileSystem::remove(const std::string &path) { return ::unlink(path.c_str()) == 0; }

bool FileSystem::link(const std::string &path, const std::string &name) {
  return ::linkat(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

std::optional<std::vector<std::string>> FileSystem::list(const std::string &folder) {
  std::error_code error;
  std::vector<std::string> names;
  const std::filesystem::directory_iterator end;
  for (std::filesystem::directory_iterator at(folder, error); !error && at != end;
       at.increment(error)) {
    std::error_code unknown; // what went meanwhile is no file
    if (at->is_regular_file(unknown))
      names.push_back(at->path().filename().string());
  }
  return error ? std::nullopt : std::optional(std::move(names));
}

std::optional<int64_t> FileSystem::changedAt(const std::string &folder) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0)
    return std::nullopt;
  return int64_t{info.st_mtim.tv_sec} * 1'000'000'000 + info.st_mtim.tv_nsec;
}

bool FileSystem::makeFolder(const std::string &path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  errno = error.value();
  return !error && std::filesystem::is_directory(path, error);
}

bool FileSystem::syncDirectory(const std::string &path) {
  OpenFile directory(directoryOf(path), O_RDONLY | O_DIRECTORY);
  // A file system that cannot flush a directory says EINVAL; there is nothing to wait for then.
  return directory.isOpen() && (directory.flush() || errno == EINVAL);
}

// A link stays: what it leads to is replaced, or made.
bool FileSystem::replace(const std::string &path, std::string_view bytes) {
  errno = 0;
  const auto real = linkTarget(path);
  if (const int error = real ? obstacle(path) : ELOOP; error != 0) {
    errno = error;
    return false;
  }
  const std::string target = real->string();
  const std::string fresh = target + ".new";
  remove(fresh);
  if (write(fresh, bytes) && keepMode(target, fresh) && rename(fresh, target))
    return syncDirectory(target);
  const int error = errno;
  remove(fresh);
  errno = error;
  return false;
}

FileSystem &systemFiles() {
  static FileSystem files;
  return files;
}

} // namespace velto
