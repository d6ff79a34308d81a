#pragma once

#include <cstddef>

namespace kellanseek::test {

/// While it lives, one allocation of the calling thread fails: the one that comes after so many others. One
/// at a time on each thread.
class FailingAllocation {
 public:
  explicit FailingAllocation(std::size_t after);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Whether there were so many allocations.
  bool Happened() const;
};

}  // namespace kellanseek::test
