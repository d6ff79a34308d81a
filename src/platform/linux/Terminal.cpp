#include "platform/Terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/Environment.h"

namespace kellanseek::platform {

void UseUtf8Output() {}

void ReserveClosedStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    // A new descriptor gets the lowest free number, which is that of the stream.
    if (::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
  }
}

void KeepLineEnds() {}

bool OutputTakesColours() {
  return isatty(STDOUT_FILENO) == 1 && EnvironmentVariable("TERM").value_or("dumb") != "dumb";
}

bool ErrorsAreSeen() { return isatty(STDERR_FILENO) == 1; }

}  // namespace kellanseek::platform
