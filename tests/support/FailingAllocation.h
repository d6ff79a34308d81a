#pragma once

#include <cstddef>

namespace kellanseek::test {

/// Skips a test if allocations cannot be made to fail: the thread sanitizer replaces the operators itself.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KELLANSEEK_NO_FAILING_ALLOCATIONS 1
#endif
#endif
#ifdef KELLANSEEK_NO_FAILING_ALLOCATIONS
#define NEEDS_FAILING_ALLOCATIONS() GTEST_SKIP() << "The thread sanitizer lets nobody replace operator new."
#else
#define NEEDS_FAILING_ALLOCATIONS() static_cast<void>(0)
#endif

/// During its lifetime one allocation of the calling thread fails: the one after `after` others. Only one
/// object per thread at a time.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t after);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Whether the failure has occurred.
  bool Happened() const;
  /// How many allocations are still to succeed; the greatest number once the failure has occurred.
  std::size_t Left() const;
};

}  // namespace kellanseek::test
