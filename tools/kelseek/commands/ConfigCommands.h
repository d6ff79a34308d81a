#pragma once

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// `check-config` and `init-config`, for the two files of a configuration directory.
void AddConfigCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
