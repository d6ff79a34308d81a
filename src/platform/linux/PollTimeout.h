#pragma once

#include <chrono>
#include <ctime>
#include <optional>

namespace kellanseek::platform {

/// The end of a wait with a time-out, which interrupted waits do not extend; or no limit.
class Deadline {
 public:
  explicit Deadline(std::optional<std::chrono::milliseconds> timeout) {
    if (timeout) end_ = std::chrono::steady_clock::now() + *timeout;
  }

  bool Limited() const { return end_.has_value(); }
  bool Passed() const { return end_ && std::chrono::steady_clock::now() >= *end_; }
  /// The remaining time, for ppoll. Never negative.
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
