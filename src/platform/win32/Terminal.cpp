#include "platform/Terminal.h"

#include "platform/win32/System.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace kellanseek::platform {
namespace {

bool OutputIsConsole(DWORD& mode) { return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != FALSE; }

}  // namespace

void UseUtf8Output() {
  DWORD mode = 0;
  if (OutputIsConsole(mode)) SetConsoleOutputCP(CP_UTF8);
}

// A new file handle never takes the place of a standard stream's.
void ReserveClosedStreams() {}

void KeepLineEnds() { _setmode(_fileno(stdout), _O_BINARY); }

bool OutputTakesColours() {
  constexpr DWORD kEscapeSequences = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
  DWORD mode = 0;
  return OutputIsConsole(mode) &&
         SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), mode | kEscapeSequences) != FALSE;
}

bool ErrorsAreSeen() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

}  // namespace kellanseek::platform
