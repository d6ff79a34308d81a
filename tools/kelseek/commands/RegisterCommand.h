#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::tools {

/// `register` and `unregister`: the component as a class that clients create without a path.
void AddRegisterCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::tools
