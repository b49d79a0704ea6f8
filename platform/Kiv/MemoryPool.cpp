#include "Kiv/MemoryPool.h"

#include <array>
#include <mutex>
#include <new>
#include <utility>

namespace Kiv {

namespace {

/// Chunks are of 1 to 8 KiB. A thread keeps up to two lists of `most` idle blocks of a size: with
/// one, it would hand over and take back in turn whenever its number is about that.
constexpr std::size_t step = 16, classes = 8, blocksInChunk = 64, most = 1024;

/// A block that nobody uses.
struct Idle {
  Idle* next;
  /// Of the first of a list that was handed over: that of another such list.
  Idle* nextList;
};
static_assert(sizeof(Idle) <= step);

struct Own {
  Idle* first = nullptr;
  std::size_t size = 0;
  /// Another list, full; null when there is none.
  Idle* full = nullptr;
};

/// Small enough for every thread's static block, as in `Delivery::ofThisThread`, and without a
/// destructor, so that reaching it takes no call.
[[gnu::tls_model("initial-exec")]] constinit thread_local std::array<Own, classes> ownBlocks{};
/// Whether the thread is ending and has handed over what it had.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool hasLeft = false;

/// The lists that threads have handed over.
struct HandedOver {
  std::mutex mutex;
  std::array<Idle*, classes> lists{};
};
constinit HandedOver handedOver;

void handOver(std::size_t sizeClass, Idle* list) noexcept {
  if (list == nullptr) return;
  std::lock_guard const lock(handedOver.mutex);
  list->nextList = std::exchange(handedOver.lists[sizeClass], list);
}

/// Leaves a thread's blocks to the others when it ends.
struct Leaving {
  ~Leaving() {
    for (std::size_t c = 0; c < classes; ++c) {
      Own const own = std::exchange(ownBlocks[c], {});
      handOver(c, own.first);
      handOver(c, own.full);
    }
    hasLeft = true;
  }
};

/// Has the calling thread leave its blocks when it ends; does nothing once it has left.
void leaveAtEnd() {
  thread_local Leaving leaving;
  static_cast<void>(leaving);
}

constexpr std::size_t classOf(std::size_t size) { return (size - 1) / step; }

/// Gives the thread blocks of a class, of which it has none, and returns the first.
[[gnu::noinline]] Idle& refill(std::size_t sizeClass) {
  leaveAtEnd();
  Own& own = ownBlocks[sizeClass];
  if (own.full != nullptr) {
    own = {own.full, most, nullptr};
    return *own.first;
  }
  {
    std::lock_guard const lock(handedOver.mutex);
    own.first = handedOver.lists[sizeClass];
    if (own.first != nullptr) handedOver.lists[sizeClass] = own.first->nextList;
  }
  if (own.first != nullptr) {
    for (Idle const* block = own.first; block != nullptr; block = block->next) ++own.size;
    return *own.first;
  }
  std::size_t const size = (sizeClass + 1) * step;
  std::size_t const chunkSize = blocksInChunk * size;
  auto* const chunk = static_cast<std::byte*>(::operator new(chunkSize));
  // The last one first, so that they are used in the order of their addresses.
  std::size_t at = chunkSize;
  do {
    at -= size;
    own.first = new (chunk + at) Idle{own.first, nullptr};
  } while (at > 0);
  own.size = blocksInChunk;
  return *own.first;
}

/// Has the thread's list, empty or full, take one more block.
[[gnu::noinline]] void makeRoom(std::size_t sizeClass) noexcept {
  leaveAtEnd();
  Own& own = ownBlocks[sizeClass];
  if (own.first == nullptr) return;
  handOver(sizeClass, own.full);
  own = {nullptr, 0, own.first};
}

}  // namespace

void* MemoryPool::blockIs(std::size_t size) {
  if (!isOn || size > classes * step) return ::operator new(size);
  Own& own = ownBlocks[classOf(size)];
  Idle& block = own.first != nullptr ? *own.first : refill(classOf(size));
  own.first = block.next;
  --own.size;
  return &block;
}

void MemoryPool::blockDel(void* block, std::size_t size) noexcept {
  if (!isOn || size > classes * step) {
    ::operator delete(block);
    return;
  }
  Own& own = ownBlocks[classOf(size)];
  if (own.size % most == 0) [[unlikely]]
    makeRoom(classOf(size));
  own.first = new (block) Idle{own.first, nullptr};
  ++own.size;
  if (hasLeft) [[unlikely]]
    handOver(classOf(size), std::exchange(own, {}).first);
}

std::size_t MemoryPool::idleBytes() noexcept {
  std::size_t bytes = 0;
  std::lock_guard const lock(handedOver.mutex);
  for (std::size_t c = 0; c < classes; ++c) {
    bytes += (ownBlocks[c].size + (ownBlocks[c].full != nullptr ? most : 0)) * (c + 1) * step;
    for (Idle const* list = handedOver.lists[c]; list != nullptr; list = list->nextList) {
      for (Idle const* block = list; block != nullptr; block = block->next) bytes += (c + 1) * step;
    }
  }
  return bytes;
}

}  // namespace Kiv
