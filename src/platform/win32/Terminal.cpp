#include "platform/Terminal.h"

#include "platform/win32/System.h"
#include "text/Utf8.h"

#include <shellapi.h>

#include <memory>
#include <string_view>

namespace kellanseek::platform {

namespace {

bool OutputIsConsole(DWORD& mode) { return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != FALSE; }

}  // namespace

std::vector<std::string> ArgumentsInUtf8(int /*count*/, const char* const* /*arguments*/) {
  // The arguments of main() are in the ANSI code page, which may lack characters of the command line.
  int count = 0;
  const std::unique_ptr<LPWSTR, decltype(&LocalFree)> wide(CommandLineToArgvW(GetCommandLineW(), &count),
                                                           &LocalFree);
  std::vector<std::string> arguments;
  for (int index = 1; wide != nullptr && index < count; ++index) {
    arguments.push_back(text::ToUtf8(wide.get()[index]));
  }
  return arguments;
}

std::optional<std::string> EnvironmentVariable(const char* name) {
  const std::string_view narrow(name);
  const std::wstring value = EnvironmentText(std::wstring(narrow.begin(), narrow.end()));
  if (value.empty()) return std::nullopt;
  return text::ToUtf8(value);
}

void UseUtf8Output() {
  DWORD mode = 0;
  if (OutputIsConsole(mode)) SetConsoleOutputCP(CP_UTF8);
}

// A new file handle never takes the place of a standard stream's.
void ReserveClosedStreams() {}

bool OutputTakesColours() {
  constexpr DWORD kEscapeSequences = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
  DWORD mode = 0;
  return OutputIsConsole(mode) &&
         SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), mode | kEscapeSequences) != FALSE;
}

}  // namespace kellanseek::platform
