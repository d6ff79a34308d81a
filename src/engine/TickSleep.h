#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace kellanseek::engine {

/// A sleep through idle ticks that something has ended.
struct TickSleep {
  std::int32_t passed;             ///< Ticks that have passed.
  std::chrono::milliseconds left;  ///< Until the next one.
};

/// After `slept` of a sleep through at most `idle` ticks. What ended it counts as earlier than a tick that is
/// just over, because the thread may have woken late by as much, and so may the clock.
inline TickSleep EndedAfter(std::chrono::milliseconds slept, std::int32_t idle,
                            std::chrono::milliseconds tick) {
  constexpr std::chrono::milliseconds kLate{16};
  constexpr std::chrono::milliseconds kNow{0};
  const std::int64_t whole = std::max(slept - kLate, kNow) / tick;
  const auto passed = static_cast<std::int32_t>(std::min<std::int64_t>(whole, idle));
  return {passed, std::max(tick * (passed + 1) - slept, kNow)};
}

}  // namespace kellanseek::engine
