#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::tools {

/// `register` and `unregister`, for the component's class.
void AddRegisterCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::tools
