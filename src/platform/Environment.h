#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kellanseek::platform {

/// The program's arguments without its name, in UTF-8. `count` and `arguments` are those of main().
std::vector<std::string> ArgumentsInUtf8(int count, const char* const* arguments);

/// An environment variable in UTF-8; nullopt if it is unset or empty, or if the program runs with more rights
/// than the user who chose its environment.
std::optional<std::string> EnvironmentVariable(const char* name);

/// Sets an environment variable of this process. Call it before other threads start.
void ChangeEnvironment(const char* name, const std::string& utf8);

}  // namespace kellanseek::platform
