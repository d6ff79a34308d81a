#pragma once

#include <string>
#include <vector>

#include "platform/Terminal.h"
#include "screen/Now.h"
#include "screen/Screen.h"

namespace kellanseek::kelseek {

/// What a terminal shows.
struct Frame {
  platform::TerminalSize size;
  std::vector<std::string> lines;  ///< At most as many as the terminal has, and none wider.
  Moment stale = kNever;           ///< Until then, the same state looks the same.
};

/// Draws a screen that is arranged. Takes time for what is visible only.
Frame Draw(const Screen& screen, const Now& now, bool colours);

/// The bytes that make a terminal which shows `before` show `after`: only lines that differ. A new
/// Frame as `before` stands for a terminal of unknown contents.
std::string Difference(const Frame& before, const Frame& after);

}  // namespace kellanseek::kelseek
