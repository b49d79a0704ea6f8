#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

/// Counts an allocation that gave `memory`, or fails.
void* counted(void* memory) {
  ++Allocations::made;
  bool const fails = Allocations::failAt != 0 && --Allocations::failAt == 0;
  if (memory != nullptr && !fails) return memory;
  std::free(memory);
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return counted(std::malloc(size != 0 ? size : 1)); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return counted(std::aligned_alloc(static_cast<std::size_t>(alignment), size));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
