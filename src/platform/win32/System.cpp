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

}  // namespace kellanseek::platform
