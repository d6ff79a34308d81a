#include "platform/Environment.h"

#include "platform/win32/System.h"
#include "text/Utf8.h"

#include <shellapi.h>

#include <memory>
#include <string_view>

namespace kellanseek::platform {

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

void ChangeEnvironment(const char* name, const std::string& utf8) {
  SetEnvironmentVariableW(text::FromUtf8(name).c_str(), text::FromUtf8(utf8).c_str());
}

}  // namespace kellanseek::platform
