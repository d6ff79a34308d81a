#include "platform/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

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

void UseUtf8Output() {}

void ReserveClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // A new descriptor gets the lowest free number, which is that of the stream.
    if (::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
  }
}

bool OutputTakesColours() {
  return isatty(STDOUT_FILENO) == 1 && EnvironmentVariable("TERM").value_or("dumb") != "dumb";
}

}  // namespace kellanseek::platform
