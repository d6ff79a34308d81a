#pragma once

#include <kellanseek/client.hpp>

#include <cstddef>
#include <string>
#include <string_view>

#include "text/Utf8.h"

namespace kellanseek::kelseek {

using text::FromUtf8;
using text::ToUtf8;

/// Makes a text safe to print, as client::printable() does. Returns UTF-8.
inline std::string Printable(std::string_view utf8) { return client::printable(utf8); }
inline std::string Printable(std::wstring_view text) { return client::printable(ToUtf8(text)); }

/// The number of terminal columns that a printable text occupies.
std::size_t Width(std::string_view utf8);

/// An HRESULT in hexadecimal, such as "0x80004005".
std::string CodeText(HRESULT result);

}  // namespace kellanseek::kelseek
