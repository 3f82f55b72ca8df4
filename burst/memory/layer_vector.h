#pragma once

#include <algorithm>
#include <cstddef>
#include <memory_resource>
#include <new>
#include <vector>

namespace zolt {

/// Where the layer's working memory comes from now: the burst's at hand, null outside of any burst (tests,
/// benchmarks), which is the system's heap. On the thread that is inside a call of the layer, and on threads
/// that have told their own by SetWorkerMemory (null: no more).
std::pmr::memory_resource* LayerMemory();
void SetWorkerMemory(std::pmr::memory_resource* memory);

/// Takes from what LayerMemory was when the container was made.
template <typename T>
struct LayerAllocator {
  using value_type = T;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;

  LayerAllocator() : memory(LayerMemory()) {}
  template <typename U>
  LayerAllocator(const LayerAllocator<U>& other) : memory(other.memory) {}  // NOLINT: containers convert

  T* allocate(size_t count) {
    const size_t bytes = count * sizeof(T);
    if (count > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_alloc();
    return static_cast<T*>(memory != nullptr ? memory->allocate(bytes) : ::operator new(bytes));
  }
  void deallocate(T* block, size_t count) {
    memory != nullptr ? memory->deallocate(block, count * sizeof(T)) : ::operator delete(block);
  }
  template <typename U>
  bool operator==(const LayerAllocator<U>& other) const {
    return memory == other.memory;
  }

  std::pmr::memory_resource* memory;
};

/// Working memory of the layer that the caller's hooks pay for.
template <typename T>
using LayerVector = std::vector<T, LayerAllocator<T>>;

/// The middle value, of an even number the upper one; reorders them. At least one.
inline float Median(LayerVector<float>* values) {
  const auto middle = values->begin() + static_cast<ptrdiff_t>(values->size() / 2);
  std::nth_element(values->begin(), middle, values->end());
  return *middle;
}

}  // namespace zolt
