#include "platform/Environment.h"

#include <cstdlib>

namespace kellanseek::platform {

std::vector<std::string> ArgumentsInUtf8(int count, const char* const* arguments) {
  if (count < 1) return {};
  return {arguments + 1, arguments + count};
}

std::optional<std::string> EnvironmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

}  // namespace kellanseek::platform
