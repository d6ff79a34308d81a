#include "platform/Environment.h"

#include <cstdlib>

namespace kellanseek::platform {

std::vector<std::string> ArgumentsInUtf8(int count, const char* const* arguments) {
  if (count < 1) return {};
  return {arguments + 1, arguments + count};
}

std::optional<std::string> EnvironmentVariable(const char* name) {
  const char* const value = ::secure_getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

void ChangeEnvironment(const char* name, const std::string& utf8) { ::setenv(name, utf8.c_str(), 1); }

}  // namespace kellanseek::platform
