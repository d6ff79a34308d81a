#pragma once

#include <cstdint>
#include <string_view>

namespace kellanseek::config {

/// The number at the start of a text, read as the standard string-to-long conversion reads decimals: white
/// space, an optional sign, digits up to the first other character. No digits give 0; the result is clamped
/// to 32 bits. The locale plays no part.
std::int32_t ToNumber(std::wstring_view text);

/// Whether a text is a number and nothing else, apart from white space around it, and fits in 32 bits.
bool IsNumber(std::wstring_view text);

/// The text without white space at its ends.
std::wstring_view Trimmed(std::wstring_view text);

}  // namespace kellanseek::config
