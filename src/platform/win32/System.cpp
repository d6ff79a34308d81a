#include "platform/win32/System.h"

#include <array>

namespace kellanseek::platform {

std::wstring SystemMessage(DWORD error) {
  std::array<wchar_t, 512> buffer = {};
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                      error, 0, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr);
  std::wstring text(buffer.data(), length);
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' ')) {
    text.pop_back();
  }
  if (text.empty()) text = L"Error " + std::to_wstring(error);
  return text;
}

std::wstring EnvironmentText(const std::wstring& name) {
  std::wstring value(GetEnvironmentVariableW(name.c_str(), nullptr, 0), L'\0');
  if (value.empty()) return value;
  value.resize(GetEnvironmentVariableW(name.c_str(), value.data(), static_cast<DWORD>(value.size())));
  return value;
}

}  // namespace kellanseek::platform
