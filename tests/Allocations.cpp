#include "Allocations.h"

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  ++Allocations::made;
  if (Allocations::failAt != 0 && --Allocations::failAt == 0) throw std::bad_alloc();
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, std::align_val_t alignment) {
  // Counts, and fails when told to.
  operator delete(operator new(size));
  if (void* const memory = std::aligned_alloc(static_cast<std::size_t>(alignment), size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
