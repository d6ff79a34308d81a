#pragma once

#include <chrono>
#include <ctime>
#include <optional>

namespace kellanseek::platform {

/// A moment until which something waits, which outlasts interrupted waits; or no limit.
class Deadline {
 public:
  explicit Deadline(std::optional<std::chrono::milliseconds> timeout) {
    if (timeout) end_ = std::chrono::steady_clock::now() + *timeout;
  }

  bool Limited() const { return end_.has_value(); }
  bool Passed() const { return end_ && std::chrono::steady_clock::now() >= *end_; }
  /// What is left, for ppoll; never negative.
  timespec Left() const {
    if (!end_) return {};
    const auto left =
        std::chrono::duration_cast<std::chrono::nanoseconds>(*end_ - std::chrono::steady_clock::now());
    const auto count = left.count() > 0 ? left.count() : 0;
    return {static_cast<time_t>(count / 1000000000), static_cast<long>(count % 1000000000)};
  }

 private:
  std::optional<std::chrono::steady_clock::time_point> end_;
};

}  // namespace kellanseek::platform
