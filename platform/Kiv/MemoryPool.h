#pragma once

#include <cstddef>

namespace Kiv {

/// Memory for the framework's objects, which are many, small and of few sizes.
///
/// Blocks are cut from chunks, a size for each step of 16 bytes; what is larger than 128 bytes
/// comes from the general heap. Each thread keeps some thousand of the blocks that are given back
/// to it for its next objects, without a lock; what is more, and those of a thread that ends, it
/// hands over to the next one that runs out. Chunks stay with the process: after a peak, their
/// memory serves other objects of those sizes only.
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
  static void* blockIs(std::size_t size);
  /// Takes a block back. REQUIRES: `blockIs` gave it for `size`.
  static void blockDel(void* block, std::size_t size) noexcept;

  /// How many bytes are in blocks that nobody uses, of the calling thread and of those handed over,
  /// which are counted one by one.
  static std::size_t idleBytes() noexcept;
};

}  // namespace Kiv
