#pragma once

#include <optional>
#include <string>

#include <kellanseek/client.hpp>

#include "client/Session.h"

namespace CLI {
class App;
}

namespace kellanseek::kelseek {

/// Reads "MAJOR.MINOR[.REVISION]"; none for an empty text. Throws CommandError for any other.
std::optional<client::Version> ReadVersion(const std::string& text);

/// `vc run`: a virtual controller for the lifetime of the program.
void AddVcCommands(CLI::App& app, Session& session);

}  // namespace kellanseek::kelseek
