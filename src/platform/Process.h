#pragma once

#include <cstdint>

namespace kellanseek::platform {

/// Tells whether processes of this host are alive. Callable from any thread.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// A number that tells two processes apart which have had the same id one after the other; 0 when the
  /// process does not run or the system cannot say.
  virtual std::uint64_t StartStamp(std::uint32_t processId) = 0;

  /// Whether the id names a running process. A process that has ended but is not yet collected does not run.
  /// With a start stamp other than 0, another process that has taken the id over does not count.
  virtual bool IsRunning(std::uint32_t processId, std::uint64_t startStamp) = 0;
};

ProcessTable& SystemProcessTable();

/// The id of the calling process.
std::uint32_t CurrentProcessId();

}  // namespace kellanseek::platform
