#include "tests/support/FailingAllocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

thread_local std::size_t allocationsLeft = kNever;

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft != kNever && allocationsLeft-- == 0) throw std::bad_alloc();
  if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace kellanseek::test {

FailingAllocation::FailingAllocation(std::size_t after) { allocationsLeft = after; }
FailingAllocation::~FailingAllocation() { allocationsLeft = kNever; }
// The count ran through 0 to the value that stands for "never".
bool FailingAllocation::Happened() const { return allocationsLeft == kNever; }

}  // namespace kellanseek::test
