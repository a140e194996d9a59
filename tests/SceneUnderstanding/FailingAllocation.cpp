#include "tests/SceneUnderstanding/FailingAllocation.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace geoloom::test {

bool& nextAllocationFails() {
  thread_local bool fails = false;
  return fails;
}

}  // namespace geoloom::test

[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (std::exchange(geoloom::test::nextAllocationFails(), false)) throw std::bad_alloc();
  if (void* const memory = std::malloc(bytes == 0 ? 1 : bytes)) return memory;
  throw std::bad_alloc();
}
// AddressSanitizer's own form does not call the one above, and its memory must not reach the operators below.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(bytes == 0 ? 1 : bytes);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*bytes*/) noexcept {
  std::free(memory);
}
