#include "Kiv/MemoryPool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstddef>
#include <memory>
#include <random>

#include "Allocations.h"
#include "Kiv/Integers.h"
#include "Threads.h"

namespace {

using Kiv::MemoryPool;

TEST(MemoryPool, GeneratedHistoryOfBlocksThatChangeThreads) {
  struct Block {
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    unsigned char content = 0;
  };
  auto const give = [](Block& block) {
    EXPECT_EQ(std::count(block.bytes, block.bytes + block.size, block.content), block.size);
    if (block.size != 0) MemoryPool::blockDel(block.bytes, std::exchange(block.size, 0));
  };
  constexpr std::size_t threads = 4;
  std::array<std::vector<Block>, threads> blocks;
  for (std::size_t round = 0; round < 8; ++round) {
    inThreads(threads, [&](std::size_t thread) {
      auto& own = blocks[(thread + round) % threads];
      std::mt19937 random(static_cast<U32>(threads * round + thread));
      own.resize(300);
      for (int step = 0; step < 3000; ++step) {
        Block& block = own[random() % own.size()];
        give(block);
        block.size = 1 + random() % 150;
        block.content = static_cast<unsigned char>(random());
        block.bytes = static_cast<unsigned char*>(MemoryPool::blockIs(block.size));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.bytes) % alignof(std::max_align_t), 0U);
        std::fill_n(block.bytes, block.size, block.content);
      }
    });
  }
  for (auto& some : blocks) std::ranges::for_each(some, give);
}

/// One thread takes, the other gives back; then both end, and two others begin.
TEST(MemoryPool, BlocksGivenBackElsewhereServeAgain) {
  std::vector<void*> blocks(10000);
  for (bool const isFirst : {true, false}) {
    std::size_t made = 0;
    std::barrier<> bothAreThrough(2);
    inThreads(2, [&](std::size_t thread) {
      for (int turn = 0; turn < 10; ++turn) {
        if (thread == 0) std::ranges::generate(blocks, [] { return MemoryPool::blockIs(40); });
        bothAreThrough.arrive_and_wait();
        for (void* const block : blocks) {
          if (thread == 1) MemoryPool::blockDel(block, 40);
        }
        bothAreThrough.arrive_and_wait();
      }
      if (thread == 0) made = Allocations::made;
    });
    // The blocks of one turn and a few more, 64 to a chunk; none when there are those of others.
    EXPECT_EQ(made < (isFirst ? 300 : 5), MemoryPool::isOn);
  }
  EXPECT_EQ(MemoryPool::idleBytes() >= blocks.size() * 40, MemoryPool::isOn);
}

/// Objects that go after the pool has been left, at the very end of their thread.
TEST(MemoryPool, NothingIsLostOfAThreadThatHasLeft) {
  auto const giveBack = [](void* block) {
    for (void* const each : {block, MemoryPool::blockIs(112)}) MemoryPool::blockDel(each, 112);
  };
  auto const idleAfter = [&](bool isLate) {
    inThreads(1, [&](std::size_t) {
      // Made before the thread's first block, so that it goes after the blocks are left.
      thread_local std::unique_ptr<void, decltype(giveBack)> late(nullptr, giveBack);
      late.reset(MemoryPool::blockIs(112));
      if (!isLate) late.reset();
    });
    return MemoryPool::idleBytes();
  };
  std::size_t const idle = idleAfter(false);
  EXPECT_EQ(idleAfter(true), idle);
}

}  // namespace
