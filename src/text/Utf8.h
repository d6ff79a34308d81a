#pragma once

#include <string>
#include <string_view>

namespace kellanseek::text {

// Conversions between UTF-8 and the other encodings of Unicode. Wide text is UTF-16 or UTF-32, depending on
// the system. Invalid input becomes U+FFFD.

std::string ToUtf8(std::wstring_view text);
std::string ToUtf8(std::u32string_view text);
std::wstring FromUtf8(std::string_view bytes);
std::u32string CodePoints(std::string_view bytes);

}  // namespace kellanseek::text
