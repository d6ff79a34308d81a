#pragma once

#include <chrono>

namespace kellanseek::kelseek {

/// Milliseconds since an unspecified start; monotonic.
using Moment = std::chrono::milliseconds;

inline constexpr Moment kNever = Moment::max();

/// A moment together with the local time of day, which clocks show.
struct Now {
  Moment moment{};
  std::chrono::seconds timeOfDay{};
};

}  // namespace kellanseek::kelseek
