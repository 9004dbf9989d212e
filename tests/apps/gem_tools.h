#pragma once

#include "platform/file.h"
#include "support/temporary_directory.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace velto {

inline constexpr std::chrono::seconds kPatience{40};

/// The program with those arguments, run in a folder; its output is read as it comes.
class Process {
public:
  Process(const std::string &folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VELTO_PROGRAM);
    std::vector<char *> argv;
    for (std::string &argument : arguments)
      argv.push_back(argument.data());
    argv.push_back(nullptr);
    int in[2];
    int out[2];
    EXPECT_EQ(pipe2(in, O_CLOEXEC) | pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO})
      posix_spawn_file_actions_adddup2(&actions, out[1], fd);
    pid_t pid = -1;
    if (posix_spawn(&pid, VELTO_PROGRAM, &actions, nullptr, argv.data(), environ) == 0)
      pid_ = pid;
    EXPECT_GT(pid_, 0) << "the program could not be started";
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    input_ = in[1];
    output_ = out[0];
  }
  ~Process() {
    signal(SIGKILL);
    if (pid_ > 0)
      waitpid(pid_, nullptr, 0);
    close(input_);
    close(output_);
  }
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  /// Waits for a text in what the process has printed behind the last text waited for.
  bool prints(const std::string &text) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    size_t found = 0;
    while ((found = output.find(text, seen_)) == std::string::npos)
      if (std::chrono::steady_clock::now() > deadline || !read())
        return false;
    seen_ = found + text.size();
    return true;
  }
  void type(const std::string &line) {
    EXPECT_EQ(write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
  }
  /// Does nothing without a process of its own: 0 and -1 would mean others.
  void signal(int number) {
    if (pid_ > 0)
      kill(pid_, number);
  }
  /// Whoever reads the output goes away.
  void closeOutput() { close(std::exchange(output_, -1)); }
  /// The exit status, once the output has ended; -1 after a signal, and when it does not end.
  int status() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (read())
      if (std::chrono::steady_clock::now() > deadline)
        signal(SIGKILL);
    return statusUnread();
  }
  /// The same while nobody reads the output.
  int statusUnread() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    int status = 0;
    pid_t ended = 0;
    while (pid_ > 0 && (ended = waitpid(pid_, &status, WNOHANG)) == 0) {
      if (std::chrono::steady_clock::now() > deadline)
        signal(SIGKILL);
      poll(nullptr, 0, 5);
    }
    const bool exited = pid_ > 0 && ended == pid_ && WIFEXITED(status);
    pid_ = kNone;
    return exited ? WEXITSTATUS(status) : -1;
  }

  std::string output; ///< standard output and standard error

private:
  static constexpr pid_t kNone = 0;

  bool read() {
    pollfd ready{output_, POLLIN, 0};
    if (poll(&ready, 1, 200) == 0)
      return true;
    std::array<char, 4096> chunk{};
    const ssize_t count = ::read(output_, chunk.data(), chunk.size());
    if (count > 0)
      output.append(chunk.data(), static_cast<size_t>(count));
    return count > 0;
  }

  pid_t pid_ = kNone;
  int input_ = -1;
  int output_ = -1;
  size_t seen_ = 0;
};

/// A folder with the example equipment, and the programs in it.
class GemTools : public testing::Test {
protected:
  GemTools() {
    const auto model = systemFiles().read(VELTO_SOURCE_DIR "/examples/etch_tool.model");
    EXPECT_TRUE(model && systemFiles().write(folder / "etch.model", *model));
  }

  std::string file(const std::string &name, const std::string &text) {
    EXPECT_TRUE(systemFiles().write(folder / name, text));
    return name;
  }

  std::unique_ptr<Process> run(std::vector<std::string> arguments) {
    return std::make_unique<Process>(folder / "", std::move(arguments));
  }

  /// The equipment on a free port, which `port` then is.
  std::unique_ptr<Process> equipment(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"equipment", "--data", "etch.model", "--port", "0"});
    auto process = run(options);
    port = portOf(*process);
    return process;
  }
  /// The port that a program says it listens on.
  static std::string portOf(Process &process) {
    EXPECT_TRUE(process.prints("listening")) << process.output;
    EXPECT_TRUE(process.prints("\n"));
    const std::string &output = process.output;
    const size_t start = output.find_first_of("0123456789", output.find("listening"));
    return output.substr(start, output.find_first_not_of("0123456789", start) - start);
  }

  std::unique_ptr<Process> host(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"host", "127.0.0.1:" + port, "--t5", "1"});
    return run(options);
  }

  TemporaryDirectory folder;
  std::string port;
};

} // namespace velto
