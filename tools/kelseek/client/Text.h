#pragma once

#include <kellanseek/com.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kellanseek::tools {

/// UTF-8 from wide text and back; what is not valid becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

/// UTF-8 in which nothing can command a terminal or turn the order of its text round: control characters, and
/// the marks for line ends and direction, become \uXXXX, which means the same in JSON.
std::string Printable(std::string_view utf8);
std::string Printable(std::wstring_view text);

/// How many columns of a terminal a printable text takes.
std::size_t Width(std::string_view utf8);

/// A code in hexadecimal: "0x80004005".
std::string CodeText(HRESULT result);

}  // namespace kellanseek::tools
