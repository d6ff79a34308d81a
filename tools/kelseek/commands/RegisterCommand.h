#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// `register` and `unregister`, for the component's class.
void AddRegisterCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
