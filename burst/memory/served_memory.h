#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory_resource>
#include <mutex>
#include <vector>

namespace zolt {

/// Memory for threads that work for a call of the layer. The caller's hooks may only be called on the thread
/// that is inside the call, so that one waits in Serve and takes what the others ask for; what a thread gave
/// back it gets again without asking.
class ServedMemory {
 public:
  /// `from` is what the blocks are taken from and given back to, on the thread that makes this object; null:
  /// the threads use the heap.
  explicit ServedMemory(std::pmr::memory_resource* from) : from_(from) {}
  ~ServedMemory();  ///< after the threads have ended
  ServedMemory(const ServedMemory&) = delete;
  ServedMemory& operator=(const ServedMemory&) = delete;

  /// One of the threads: while it lives, LayerMemory() on its thread leads here.
  class Worker : public std::pmr::memory_resource {
   public:
    explicit Worker(ServedMemory* served);
    ~Worker() override;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

   private:
    struct Block {
      Block* next;
      size_t bytes;
    };
    void* do_allocate(size_t bytes, size_t alignment) override;
    void do_deallocate(void* block, size_t, size_t) override;
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
      return this == &other;
    }

    std::byte* Cut(size_t bytes);

    ServedMemory* served_;
    Block* free_ = nullptr;
    std::byte* piece_ = nullptr;
    size_t left_ = 0;
  };

  /// To be told before a thread starts, and again if it does not.
  void Expect();
  void Forget();
  /// Takes what is asked for until all that were expected have ended their Worker.
  void Serve();

 private:
  /// A block of so many bytes, aligned to 64, or null.
  void* Ask(size_t bytes);

  struct Taken {
    void* block;
    size_t bytes;
  };
  std::pmr::memory_resource* from_;
  std::vector<Taken> taken_;
  std::mutex mutex_, asking_;  // one asks at a time
  std::condition_variable changed_;
  int workers_ = 0;
  size_t wanted_ = 0;  // 0: nobody asks
  bool answered_ = false;
  void* answer_ = nullptr;
};

}  // namespace zolt
