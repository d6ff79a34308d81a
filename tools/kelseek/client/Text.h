#pragma once

#include <kellanseek/com.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "text/Utf8.h"

namespace kellanseek::tools {

using text::FromUtf8;
using text::ToUtf8;

/// UTF-8 in which nothing can command a terminal or turn the order of its text round: control characters, and
/// the marks for line ends and direction, become \uXXXX, which means the same in JSON.
std::string Printable(std::string_view utf8);
std::string Printable(std::wstring_view text);

/// How many columns of a terminal a printable text takes.
std::size_t Width(std::string_view utf8);

/// A code in hexadecimal: "0x80004005".
std::string CodeText(HRESULT result);

}  // namespace kellanseek::tools
