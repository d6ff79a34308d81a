#pragma once

#include <kellanseek/client.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// What the screen asks now and then.
struct ScreenQuestions {
  std::function<std::optional<std::uint32_t>()> sweeps;  ///< nullopt if they are not counted.
  std::function<std::string()> cause;                    ///< Why nothing was found; empty if unknown.
  std::function<bool(const client::Controller&)> wants;  ///< Whether a controller is to be shown.
};

/// Shows a stream as a full-screen table until the user ends it or the time has passed. Requires
/// platform::TerminalIsInteractive(). Returns whether there was any controller. Throws CommandError if the
/// terminal goes away; a failed write is reported by RequireWrittenOutput().
bool ShowFullScreen(Session& session, client::ChangeStream& changes, const ScreenQuestions& questions,
                    std::optional<double> seconds);

}  // namespace kellanseek::kelseek
