#pragma once

#include <cstdint>

namespace kellanseek::platform {

/// Information about processes of this host. Thread-safe.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// Distinguishes processes that have had the same id one after the other. Returns 0 if the process is not
  /// running or the system cannot tell.
  virtual std::uint64_t StartStamp(std::uint32_t processId) = 0;

  /// Whether the id belongs to a running process. A process that has ended but is not yet reaped does not
  /// count; with a non-zero start stamp, neither does another process that has reused the id.
  virtual bool IsRunning(std::uint32_t processId, std::uint64_t startStamp) = 0;
};

ProcessTable& SystemProcessTable();

/// The id of the calling process.
std::uint32_t CurrentProcessId();

}  // namespace kellanseek::platform
