#pragma once

#include <deque>
#include <memory>
#include <vector>

namespace velto {

/// Objects that stay where they are, many to a piece of memory, also when the pool is moved. The
/// place of one that was released goes to the next.
template <typename T> class ObjectPool {
public:
  ObjectPool() = default;
  ObjectPool(ObjectPool &&) noexcept = default;
  ObjectPool &operator=(ObjectPool &&) noexcept = default;

  T &make() {
    if (free_.empty())
      return objects_.emplace_back();
    T &object = *free_.back();
    free_.pop_back();
    return object;
  }
  void release(T &object) {
    std::destroy_at(&object);
    free_.push_back(std::construct_at(&object));
  }
  void clear() {
    free_.clear();
    objects_.clear();
  }

private:
  std::deque<T> objects_;
  std::vector<T *> free_; ///< of objects_, as freshly made
};

} // namespace velto
