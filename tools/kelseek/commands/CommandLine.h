#pragma once

#include <memory>

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// All commands and options of the program: for the parser, and for the manual and the completion, which are
/// made of the same definitions. Parsing fills in `session`, which must outlive the result.
std::unique_ptr<CLI::App> MakeCommandLine(Session& session);

}  // namespace kellanseek::kelseek
