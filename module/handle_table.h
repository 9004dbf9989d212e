#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace velto::module {

/// The objects that a program holds by handles. A handle is no address: it names a place and the
/// how-manieth object there, so that one that was destroyed, or was never given out, is told from
/// all others and refers to nothing. May be used from any thread.
template <typename T> class HandleTable {
public:
  uintptr_t add(std::shared_ptr<T> object) {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) {
      if (slots_.size() > kMostSlots)
        return 0;
      free_.push_back(static_cast<uint32_t>(slots_.size()));
      slots_.emplace_back();
    }
    const uint32_t place = free_.back();
    free_.pop_back();
    Slot &slot = slots_[place];
    slot.object = std::move(object);
    return handle(place, slot.generation);
  }

  /// Null when the handle refers to nothing. The object lives at least as long as the result.
  std::shared_ptr<T> find(uintptr_t handle) {
    const std::lock_guard lock(mutex_);
    const Slot *slot = at(handle);
    return slot != nullptr ? slot->object : nullptr;
  }

  /// The handle refers to nothing from now on.
  std::shared_ptr<T> remove(uintptr_t handle) {
    const std::lock_guard lock(mutex_);
    Slot *slot = at(handle);
    if (slot == nullptr)
      return nullptr;
    ++slot->generation;
    free_.push_back(static_cast<uint32_t>(slot - slots_.data()));
    return std::exchange(slot->object, nullptr);
  }

private:
  struct Slot {
    std::shared_ptr<T> object;
    uintptr_t generation = 1;
  };

  static constexpr unsigned kPlaceBits = sizeof(uintptr_t) == 8 ? 24 : 14;
  static constexpr size_t kMostSlots = (size_t{1} << kPlaceBits) - 1;

  // Odd, as no address of an object is.
  static uintptr_t handle(uint32_t place, uintptr_t generation) {
    return (generation << (kPlaceBits + 1)) | (uintptr_t{place} << 1) | 1;
  }
  Slot *at(uintptr_t handle) {
    const size_t place = (handle >> 1) & kMostSlots;
    if (place >= slots_.size())
      return nullptr;
    Slot &slot = slots_[place];
    const bool same =
        slot.object != nullptr &&
        module::HandleTable<T>::handle(static_cast<uint32_t>(place), slot.generation) == handle;
    return same ? &slot : nullptr;
  }

  std::mutex mutex_;
  std::vector<Slot> slots_;
  std::vector<uint32_t> free_;
};

} // namespace velto::module
