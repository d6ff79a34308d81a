#pragma once

#include <kellanseek/com.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "text/Utf8.h"

namespace kellanseek::kelseek {

using text::FromUtf8;
using text::ToUtf8;

/// Makes a text safe to print: controllers choose their texts freely, so control characters and the marks for
/// line ends and text direction become \uXXXX, which has the same meaning in JSON. Returns UTF-8.
std::string Printable(std::string_view utf8);
std::string Printable(std::wstring_view text);

/// The number of terminal columns that a printable text occupies.
std::size_t Width(std::string_view utf8);

/// An HRESULT in hexadecimal, such as "0x80004005".
std::string CodeText(HRESULT result);

}  // namespace kellanseek::kelseek
