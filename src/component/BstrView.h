#pragma once

#include <string_view>

#include <kellanseek/com.h>

namespace kellanseek::component {

/// The text of a BSTR; empty for null. Valid as long as the BSTR.
inline std::wstring_view ViewOf(BSTR text) {
  return text == nullptr ? std::wstring_view() : std::wstring_view(text, SysStringLen(text));
}

}  // namespace kellanseek::component
