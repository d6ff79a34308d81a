#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "platform/Process.h"

namespace kellanseek::test {

/// Processes started and ended by the test. Thread-safe.
class FakeProcessTable : public platform::ProcessTable {
 public:
  /// Starts a process with this id, replacing an earlier one.
  void Start(std::uint32_t processId) {
    const std::lock_guard lock(mutex_);
    running_[processId] = ++lastStamp_;
  }
  void End(std::uint32_t processId) {
    const std::lock_guard lock(mutex_);
    running_.erase(processId);
  }

  std::uint64_t StartStamp(std::uint32_t processId) override {
    const std::lock_guard lock(mutex_);
    const auto found = running_.find(processId);
    return found == running_.end() ? 0 : found->second;
  }
  bool IsRunning(std::uint32_t processId, std::uint64_t startStamp) override {
    const std::uint64_t stamp = StartStamp(processId);
    return stamp != 0 && (startStamp == 0 || startStamp == stamp);
  }

 private:
  std::mutex mutex_;
  std::map<std::uint32_t, std::uint64_t> running_;
  std::uint64_t lastStamp_ = 0;
};

}  // namespace kellanseek::test
