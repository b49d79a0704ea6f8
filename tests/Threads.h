#pragma once

#include <latch>
#include <thread>
#include <vector>

/// Has `work`, given its number, done by several threads at once; returns when all are through.
template <class Work>
void inThreads(std::size_t threads, Work work) {
  std::latch start(static_cast<std::ptrdiff_t>(threads));
  std::vector<std::jthread> running;
  for (std::size_t number = 0; number < threads; ++number) {
    running.emplace_back([&work, &start, number] {
      start.arrive_and_wait();
      work(number);
    });
  }
}
