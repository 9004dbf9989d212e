#pragma once

#include "gem/data/object_pool.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace velto {

/// Objects in ascending order of a number, found by binary search. Objects stay where they are
/// while others come and go, and when the list is moved. T has `uint32_t number() const`.
template <typename T> class NumberedList {
public:
  size_t Count() const { return items_.size(); }
  T &at(size_t index) { return *items_[index]; }
  const T &at(size_t index) const { return *items_[index]; }

  /// The first object of that number; null when there is none.
  T *find(uint32_t number) { return const_cast<T *>(std::as_const(*this).find(number)); }
  const T *find(uint32_t number) const {
    const size_t index = lowerBound(number);
    return index < items_.size() && items_[index]->number() == number ? items_[index] : nullptr;
  }
  /// The same for a number that may be none.
  T *find(std::optional<uint32_t> number) { return number ? find(*number) : nullptr; }
  const T *find(std::optional<uint32_t> number) const { return number ? find(*number) : nullptr; }
  /// The number at a position, or -1 beyond the end.
  int32_t numberAt(int32_t index) const {
    return index < 0 || static_cast<size_t>(index) >= items_.size()
               ? -1
               : static_cast<int32_t>(items_[static_cast<size_t>(index)]->number());
  }
  /// The last number plus 1; 1 for an empty list.
  uint32_t nextFree() const { return items_.empty() ? 1 : items_.back()->number() + 1; }

  /// Inserts before the first object of a greater number.
  T &Add(T object) {
    auto position = items_.end();
    if (!items_.empty() && items_.back()->number() > object.number())
      position =
          std::upper_bound(items_.begin(), items_.end(), object.number(),
                           [](uint32_t number, const T *item) { return number < item->number(); });
    T &added = pool_.make();
    added = std::move(object);
    items_.insert(position, &added);
    return added;
  }
  /// For loading many objects in any order: adds at the end, whatever the number. Sort() must
  /// follow before the list is used otherwise.
  void Append(T object) { Append() = std::move(object); }
  /// The same for an object to be filled in place.
  T &Append() { return *items_.emplace_back(&pool_.make()); }
  /// Makes room for that many objects to be appended.
  void Reserve(size_t count) { items_.reserve(items_.size() + count); }
  /// Puts appended objects in order; false when a number is there twice.
  bool Sort() {
    const auto number = [](const T *item) { return item->number(); };
    if (std::ranges::adjacent_find(items_, std::ranges::greater_equal{}, number) == items_.end())
      return true;
    std::ranges::stable_sort(items_, {}, number);
    return std::ranges::adjacent_find(items_, {}, number) == items_.end();
  }
  /// Removes the first object of that number; false when there is none.
  bool Remove(uint32_t number) {
    const size_t index = lowerBound(number);
    if (index == items_.size() || items_[index]->number() != number)
      return false;
    pool_.release(*items_[index]);
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
  }
  void Clear() {
    items_.clear();
    pool_.clear();
  }
  /// Makes this a list of copies of the other's objects.
  void CopyFrom(const NumberedList &other) {
    if (this == &other)
      return;
    Clear();
    for (const T *item : other.items_)
      Append() = *item;
  }

  bool operator==(const NumberedList &other) const {
    return std::equal(items_.begin(), items_.end(), other.items_.begin(), other.items_.end(),
                      [](const auto &a, const auto &b) { return *a == *b; });
  }

protected:
  size_t lowerBound(uint32_t number) const {
    if (!isFirst(expected_, number))
      expected_ = static_cast<size_t>(
          std::lower_bound(items_.begin(), items_.end(), number,
                           [](const T *item, uint32_t value) { return item->number() < value; }) -
          items_.begin());
    return expected_++;
  }

  std::vector<T *> items_; ///< of the pool

private:
  bool isFirst(size_t index, uint32_t number) const {
    return index < items_.size() && items_[index]->number() == number &&
           (index == 0 || items_[index - 1]->number() < number);
  }

  ObjectPool<T> pool_;
  mutable size_t expected_ = 0; ///< look-ups of neighbours often follow each other
};

} // namespace velto
