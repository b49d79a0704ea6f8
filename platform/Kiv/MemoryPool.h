#pragma once

#include <cstddef>
#include <new>

namespace Kiv {

/// Memory for the framework's objects, which are many, small and of few sizes.
///
/// Blocks are cut from chunks, a size for each step of 16 bytes; what is larger than 128 bytes
/// comes from the general heap. Each thread keeps up to some two thousand of the blocks of each
/// size that are given back to it for its next objects, without a lock; what is more, and those of
/// a thread that ends, it hands over to the next one that runs out. Chunks stay with the process:
/// after a peak, their memory serves other objects of those sizes only.
///
/// Under AddressSanitizer each block comes from the heap, so that the use of one that was given
/// back is seen.
class MemoryPool {
 public:
  /// Whether blocks are cut from chunks; otherwise each comes from the heap.
#if defined(__SANITIZE_ADDRESS__)
  static constexpr bool isOn = false;
#elif defined(__has_feature)
  static constexpr bool isOn = !__has_feature(address_sanitizer);
#else
  static constexpr bool isOn = true;
#endif

  /// A block of at least `size` bytes, aligned for any object without an alignment of its own.
  /// Raises `std::bad_alloc`. REQUIRES: `size` is not 0.
  static void* blockIs(std::size_t size) {
    void* const block = blockAtHand(size);
    return block != nullptr ? block : blockFromElsewhere(size);
  }
  /// The same, if the calling thread has one; null otherwise.
  static void* blockAtHand(std::size_t size) noexcept {
    if (!isOn || size > largest) return nullptr;
    Own& own = own_[classOf(size)];
    Idle* const block = own.first;
    if (block == nullptr) [[unlikely]]
      return nullptr;
    own.first = block->next;
    --own.size;
    return block;
  }
  /// Takes a block back. REQUIRES: `blockIs` gave it for `size`.
  static void blockDel(void* block, std::size_t size) noexcept {
    if (!isOn || size > largest) {
      ::operator delete(block);
      return;
    }
    Own& own = own_[classOf(size)];
    if (own.size == most) [[unlikely]] {
      blockDelAtLimit(block, classOf(size));
      return;
    }
    own.first = new (block) Idle{own.first, nullptr};
    ++own.size;
  }

  /// How many bytes are in blocks that nobody uses, of the calling thread and of those handed over;
  /// they are counted one by one.
  static std::size_t idleBytes() noexcept;

 private:
  /// Chunks are of 1 to 8 KiB. A thread keeps up to two lists of `most` idle blocks of a size: with
  /// one, it would hand over and take back in turn whenever its number is about that.
  static constexpr std::size_t step = 16, classes = 8, blocksInChunk = 64, most = 1024;
  static constexpr std::size_t largest = classes * step;

  /// A block that nobody uses.
  struct Idle {
    Idle* next;
    /// Of the first of a list that was handed over: that of another such list.
    Idle* nextList;
  };
  static_assert(sizeof(Idle) <= step);

  /// The idle blocks of one size that a thread has.
  struct Own {
    Idle* first = nullptr;
    /// Full, though there are none, before the thread has had any and once it has left.
    std::size_t size = most;
    /// Another list, full; null when there is none.
    Idle* full = nullptr;
  };

  struct HandedOver;
  struct Leaving;

  static constexpr std::size_t classOf(std::size_t size) { return (size - 1) / step; }

  /// Has the calling thread leave its blocks when it ends; does nothing once it has left.
  static void leaveAtEnd();
  /// Leaves a list to the other threads; null is none.
  static void handOver(std::size_t sizeClass, Idle* list) noexcept;
  /// Gives the thread blocks of a class, of which it has none, and returns the first.
  static Idle& refill(std::size_t sizeClass);
  /// `blockIs` for a thread that has none.
  static void* blockFromElsewhere(std::size_t size);
  /// `blockDel` for a thread whose list is full.
  static void blockDelAtLimit(void* block, std::size_t sizeClass) noexcept;

  /// Small enough for every thread's static block, as in `Delivery::ofThisThread`, and without a
  /// destructor, so that reaching it takes no call.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local Own own_[classes];
  /// Whether the thread is ending and has handed over what it had. It keeps nothing from then on.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local bool hasLeft_;

  static HandedOver handedOver_;
};

}  // namespace Kiv
