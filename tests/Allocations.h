#pragma once

#include <cstddef>

/// The allocations that the calling thread makes through the global operator new. The test program
/// replaces that operator, for the libraries too.
struct Allocations {
  /// How many there have been.
  inline static constinit thread_local std::size_t made = 0;
  /// When not zero: the allocation, counted from now on, that raises `std::bad_alloc`.
  inline static constinit thread_local std::size_t failAt = 0;
};
