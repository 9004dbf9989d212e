#include "platform/name_resolver.h"

#include "platform/event_loop.h"
#include "platform/tcp_socket.h"

#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace velto {

// Who waits for an answer, by ticket; on the loop's thread alone.
struct NameResolver::Asked {
  std::map<uint64_t, std::function<void(const std::string &)>> done;
  uint64_t tickets = 0;

  void answer(uint64_t ticket, const std::string &address) {
    const auto found = done.find(ticket);
    if (found == done.end())
      return;
    const auto callback = std::move(found->second);
    done.erase(found);
    callback(address);
  }
};

// What the two threads share. Its thread keeps it, so that it may outlive the resolver.
struct NameResolver::Worker {
  std::mutex mutex;
  std::condition_variable changed;
  EventLoop *loop; // null: the resolver has ended
  std::weak_ptr<Asked> asked;
  std::deque<std::pair<uint64_t, std::string>> waiting; // tickets and names
  const Lookup lookup;
  bool started = false;

  Worker(EventLoop &owner, Lookup find) : loop(&owner), lookup(std::move(find)) {}

  // A signal is for the thread of the loop.
  bool start(const std::shared_ptr<Worker> &self) {
    if (started)
      return true;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      std::thread([self] { self->run(); }).detach();
      started = true;
    } catch (const std::system_error &) {
      started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
  }

  void run() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return loop == nullptr || !waiting.empty(); });
      if (loop == nullptr)
        return;
      const auto [ticket, name] = std::move(waiting.front());
      waiting.pop_front();
      lock.unlock();
      const std::string address = lookup(name);
      lock.lock();
      if (loop != nullptr)
        report(ticket, address);
    }
  }

  void report(uint64_t ticket, const std::string &address) {
    loop->postFromAnyThread([asked = asked, ticket, address] {
      if (const auto there = asked.lock())
        there->answer(ticket, address);
    });
  }
};

NameResolver::NameResolver(EventLoop &loop, Lookup lookup)
    : worker_(std::make_shared<Worker>(loop, lookup ? std::move(lookup) : resolveHost)),
      asked_(std::make_shared<Asked>()) {
  worker_->asked = asked_;
}

NameResolver::~NameResolver() {
  const std::scoped_lock lock(worker_->mutex);
  worker_->loop = nullptr;
  worker_->changed.notify_one();
}

std::shared_ptr<void> NameResolver::lookUp(std::string name,
                                           std::function<void(const std::string &)> done) {
  const uint64_t ticket = ++asked_->tickets;
  asked_->done.emplace(ticket, std::move(done));
  {
    const std::scoped_lock lock(worker_->mutex);
    if (worker_->start(worker_)) {
      worker_->waiting.emplace_back(ticket, std::move(name));
      worker_->changed.notify_one();
    } else {
      worker_->report(ticket, "");
    }
  }
  return {nullptr, [worker = worker_, asked = asked_, ticket](void *) {
            asked->done.erase(ticket);
            const std::scoped_lock lock(worker->mutex);
            std::erase_if(worker->waiting,
                          [=](const auto &entry) { return entry.first == ticket; });
          }};
}

} // namespace velto
