#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::tools {

/// `check-config` and `init-config`, for the two files of a configuration directory.
void AddConfigCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::tools
