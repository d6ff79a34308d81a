#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kellanseek::platform {

/// The arguments of the program after its name, in UTF-8, from what main() was given.
std::vector<std::string> ArgumentsInUtf8(int count, const char* const* arguments);

/// A variable of the environment, in UTF-8; none when it is not set or empty.
std::optional<std::string> EnvironmentVariable(const char* name);

/// Makes standard output take UTF-8 where it is a terminal.
void UseUtf8Output();

/// Keeps the places of standard streams that were closed when the program began, so that no file or socket
/// opened later receives what is meant for them: writing to them goes on to fail. Called before anything is
/// opened.
void ReserveClosedStreams();

/// Whether standard output is a terminal that understands escape sequences, which this call may have to
/// switch on.
bool OutputTakesColours();

}  // namespace kellanseek::platform
