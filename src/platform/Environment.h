#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kellanseek::platform {

/// The program's arguments without its name, in UTF-8. `count` and `arguments` are those of main().
std::vector<std::string> ArgumentsInUtf8(int count, const char* const* arguments);

/// An environment variable in UTF-8; nullopt if it is unset or empty.
std::optional<std::string> EnvironmentVariable(const char* name);

}  // namespace kellanseek::platform
