#pragma once

#include <string>
#include <string_view>

namespace kellanseek::text {

// UTF-8 to and from the other encodings of Unicode; wide text is UTF-16 or UTF-32, as the system has it. What
// is not valid becomes U+FFFD.

std::string ToUtf8(std::wstring_view text);
std::string ToUtf8(std::u32string_view text);
std::wstring FromUtf8(std::string_view bytes);
std::u32string CodePoints(std::string_view bytes);

}  // namespace kellanseek::text
