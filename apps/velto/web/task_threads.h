#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <httplib.h>
#include <mutex>
#include <thread>
#include <vector>

namespace velto {

/// The threads of a server: made when there is work for another one, a bounded number. What comes
/// beyond that waits, at last in the system's queue of connections.
class TaskThreads final : public httplib::TaskQueue {
public:
  explicit TaskThreads(size_t most) : most_(most) {}

  void enqueue(std::function<void()> task) override {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return tasks_.size() < most_; });
    tasks_.push_back(std::move(task));
    if (tasks_.size() > idle_ && threads_.size() < most_)
      threads_.emplace_back([this] { work(); });
    changed_.notify_all();
  }

  void shutdown() override {
    {
      const std::lock_guard lock(mutex_);
      ends_ = true;
      changed_.notify_all();
    }
    for (std::thread &thread : threads_)
      thread.join();
  }

private:
  void work() {
    std::unique_lock lock(mutex_);
    while (true) {
      ++idle_;
      changed_.wait(lock, [this] { return ends_ || !tasks_.empty(); });
      --idle_;
      if (tasks_.empty())
        return;
      const auto task = std::move(tasks_.front());
      tasks_.pop_front();
      changed_.notify_all();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  const size_t most_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  size_t idle_ = 0;
  bool ends_ = false;
};

} // namespace velto
