#pragma once

#include "apps/velto/capture/capture_file.h"
#include "apps/velto/spy/relay.h"
#include "apps/velto/spy/spy_console.h"

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace velto {

/// Passes bytes between who connects and a target, and shows what they say. Passing has a thread
/// and a loop of its own, so that nothing that is looked at or printed delays it. When looking
/// falls behind, bytes are left out of it, which is told; they are passed on all the same.
class Spy {
public:
  struct Settings {
    std::string targetHost;
    uint16_t targetPort = 0;
    Conversation::Settings conversation;
    std::string capture;                          ///< path of a file; empty: none
    size_t mostBehind = size_t{64} * 1024 * 1024; ///< bytes that wait to be looked at
  };

  /// Shows on the thread of `loop`.
  Spy(EventLoop &loop, SpyConsole &console, const Settings &settings);
  ~Spy();
  Spy(const Spy &) = delete;
  Spy &operator=(const Spy &) = delete;

  /// Begins. What is wrong, else an empty text. Port 0: any free one.
  std::string listen(uint16_t port);
  /// Ends passing; what is open is told as unanswered.
  void stop();

  static SpyMoment now();

private:
  class Feed;
  struct Spied {
    std::unique_ptr<Conversation> conversation;
    std::unique_ptr<CaptureFile::Connection> captured; ///< null: it is not
  };

  void opened(const SpyMoment &at, uint32_t id, const TcpSocket::Ends &ends);
  void passed(const SpyMoment &at, uint32_t id, SpyDirection direction, const Bytes &bytes,
              uint64_t lost);
  void ended(const SpyMoment &at, uint32_t id, const std::string &how, bool isProblem);
  void tick();
  void awaitTick(const Conversation &conversation);

  EventLoop &loop_;
  SpyConsole &console_;
  const Settings settings_;
  const std::string target_;
  Timer timer_;
  std::shared_ptr<CaptureFile> capture_; ///< null: none
  std::map<uint32_t, Spied> connections_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); ///< of this thread, for its tasks
  EventLoop passing_;
  std::unique_ptr<Feed> feed_;
  std::unique_ptr<Relay> relay_; ///< on the thread, while that runs
  std::thread thread_;
};

} // namespace velto
