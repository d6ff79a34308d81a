#include "tests/support/FailingAllocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

thread_local std::size_t allocationsLeft = kNever;

}  // namespace

#ifndef KELLANSEEK_NO_FAILING_ALLOCATIONS

namespace {

void* Allocate(std::size_t size) {
  if (allocationsLeft != kNever && allocationsLeft-- == 0) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
// The sanitizers define this operator too, with memory that the operators below could not free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

#endif

namespace kellanseek::test {

FailingAllocation::FailingAllocation(std::size_t after) { allocationsLeft = after; }
FailingAllocation::~FailingAllocation() { allocationsLeft = kNever; }
// Once the failure has happened, the counter has wrapped around from 0 to kNever.
bool FailingAllocation::Happened() const { return allocationsLeft == kNever; }
std::size_t FailingAllocation::Left() const { return allocationsLeft; }

}  // namespace kellanseek::test
