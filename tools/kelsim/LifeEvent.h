#pragma once

#include <cstdint>
#include <string>

#include "tools/kelsim/Controller.h"

namespace kellanseek::kelsim {

/// Something that can happen to a controller.
enum class Action {
  Announce,
  Restart,
  PowerDown,
  PowerUp,
  FallSilent,
  Speak,
  Rename,
  SetSystemName,
  SetReleasePath,
  SetSystemId,
  SetMacAddress,
  SetAddress,
  ShareAddress,
  ShareSystemId,
  SetLoss,
};

/// An event that affects the controllers with the numbers `first` to `last`.
struct LifeEvent {
  Moment at = {};
  Action action = Action::Announce;
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  std::string text = {};  ///< The new text, in the ANSI code page.
  /// The new address (of `first`; the others follow), the other controller's number, the percentage, or the
  /// duration of a restart in milliseconds.
  std::uint32_t value = 0;
  std::string description = {};  ///< The line printed when it happens, in UTF-8.
};

inline constexpr std::uint32_t kRestartMilliseconds = 2000;

}  // namespace kellanseek::kelsim
