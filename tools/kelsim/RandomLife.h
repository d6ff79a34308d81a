#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "tools/kelsim/LifeEvent.h"

namespace kellanseek::kelsim {

/// Generates one random event per period: a controller is renamed, restarts, powers down and returns, or
/// falls silent and speaks again. The same seed produces the same events.
class RandomLife {
 public:
  RandomLife(std::uint32_t firstNumber, std::uint32_t count, Moment period, std::uint32_t seed)
      : first_(firstNumber), count_(count), period_(period), next_(period), random_(seed) {}

  Moment NextAt() const { return next_; }
  /// The events of the next period: one at NextAt(), and its consequences later.
  std::vector<LifeEvent> Next();

 private:
  static LifeEvent Event(Moment at, Action action, std::uint32_t number, const char* word);

  std::uint32_t first_;
  std::uint32_t count_;
  Moment period_;
  Moment next_;
  std::mt19937 random_;
  std::uint32_t renamed_ = 0;
};

}  // namespace kellanseek::kelsim
