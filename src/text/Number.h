#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kellanseek::text {

// Numbers as the C library scans them: leading white space, an optional sign, then digits up to the first
// other character. The locale plays no part. Datagrams, files and event texts are all read this way.

/// Reads a decimal number at the front of `text` and removes it; a value beyond 32 bits becomes the nearest
/// limit. Returns nothing, with `text` undefined, when there are no digits.
std::optional<std::int32_t> TakeDecimal(std::wstring_view& text);

/// The decimal number at the start of a text; 0 when there is none.
std::int32_t ToNumber(std::string_view text);
std::int32_t ToNumber(std::wstring_view text);

/// Whether a text is a decimal number and nothing else, apart from white space around it, and fits in 32
/// bits.
bool IsNumber(std::wstring_view text);

/// Reads a number at the front of `text` as the C library's %x does (white space, sign, optional 0x, any
/// width, either case) and removes it. False, with `text` undefined, when there is none. A magnitude beyond
/// 32 bits reads as 0xFFFFFFFF, whatever the sign.
bool TakeHex(std::string_view& text, std::uint32_t& value);

/// The same for a number that must be followed by `end`, which is removed with it.
inline bool TakeHexUntil(char end, std::string_view& text, std::uint32_t& value) {
  // Nearly every number of a datagram is a single digit.
  if (text.size() > 1 && text[1] == end) {
    const char digit = text[0];
    const bool letter = digit >= 'a' && digit <= 'f';
    if (letter || (digit >= '0' && digit <= '9')) {
      value = static_cast<std::uint32_t>(letter ? digit - 'a' + 10 : digit - '0');
      text.remove_prefix(2);
      return true;
    }
  }
  if (!TakeHex(text, value) || !text.starts_with(end)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace kellanseek::text
