#pragma once

#include <algorithm>

#include "screen/Now.h"

namespace kellanseek::kelseek {

/// Decides when the next frame is drawn: soon after a change, but with a distance to the last frame; without
/// a change, when the last frame gets stale.
class Pacing {
 public:
  static constexpr Moment kDistance{100};

  void Change() { changed_ = true; }
  void Drawn(Moment now, Moment stale) {
    earliest_ = now + kDistance;
    stale_ = stale;
    changed_ = false;
  }

  bool Changed() const { return changed_; }
  Moment Due() const { return changed_ ? earliest_ : std::max(earliest_, stale_); }

 private:
  bool changed_ = true;
  Moment earliest_{0};
  Moment stale_ = kNever;
};

}  // namespace kellanseek::kelseek
