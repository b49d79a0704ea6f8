#include "Kiv/MemoryPool.h"

#include <array>
#include <mutex>
#include <new>
#include <utility>

namespace Kiv {

namespace {

constexpr std::size_t step = 16, classes = 8, blocksInChunk = 64;

/// A block that nobody uses.
struct Idle {
  Idle* next;
};
using IdleBlocks = std::array<Idle*, classes>;

/// Small enough for every thread's static block, as in `Delivery::ofThisThread`, and without a
/// destructor, so that reaching it takes no call.
[[gnu::tls_model("initial-exec")]] constinit thread_local IdleBlocks ownBlocks{};

/// What ended threads have left.
struct Orphans {
  std::mutex mutex;
  IdleBlocks blocks{};

  /// Never destroyed: objects come and go while static objects do.
  static Orphans& instance() {
    static auto* const orphans = new Orphans;
    return *orphans;
  }
};

/// Leaves a thread's blocks to the others when it ends.
struct Leaving {
  ~Leaving() {
    Orphans& orphans = Orphans::instance();
    std::lock_guard const lock(orphans.mutex);
    for (std::size_t c = 0; c < classes; ++c) {
      while (Idle* const block = ownBlocks[c]) {
        ownBlocks[c] = std::exchange(block->next, std::exchange(orphans.blocks[c], block));
      }
    }
  }
};

constexpr std::size_t classOf(std::size_t size) { return (size - 1) / step; }

/// Gives the thread blocks of a class, of which it has none.
[[gnu::noinline]] void refill(std::size_t sizeClass) {
  thread_local Leaving leaving;
  static_cast<void>(leaving);
  Orphans& orphans = Orphans::instance();
  {
    std::lock_guard const lock(orphans.mutex);
    ownBlocks[sizeClass] = std::exchange(orphans.blocks[sizeClass], nullptr);
  }
  if (ownBlocks[sizeClass] != nullptr) return;
  std::size_t const size = (sizeClass + 1) * step;
  auto* const chunk = static_cast<std::byte*>(::operator new(blocksInChunk* size));
  // The last one first, so that they are used in the order of their addresses.
  for (std::size_t block = blocksInChunk; block-- > 0;) {
    ownBlocks[sizeClass] = new (chunk + block * size) Idle{ownBlocks[sizeClass]};
  }
}

}  // namespace

void* MemoryPool::blockIs(std::size_t size) {
  if (!isOn || size > classes * step) return ::operator new(size);
  Idle*& first = ownBlocks[classOf(size)];
  if (first == nullptr) [[unlikely]]
    refill(classOf(size));
  return std::exchange(first, first->next);
}

void MemoryPool::blockDel(void* block, std::size_t size) noexcept {
  if (!isOn || size > classes * step) {
    ::operator delete(block);
    return;
  }
  Idle*& first = ownBlocks[classOf(size)];
  first = new (block) Idle{first};
}

std::size_t MemoryPool::idleBytes() noexcept {
  std::size_t bytes = 0;
  for (std::size_t c = 0; c < classes; ++c) {
    for (Idle const* block = ownBlocks[c]; block != nullptr; block = block->next) {
      bytes += (c + 1) * step;
    }
  }
  return bytes;
}

}  // namespace Kiv
