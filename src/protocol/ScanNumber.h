#pragma once

#include <cstdint>
#include <string_view>

namespace kellanseek::protocol {

/// The C library's white space.
constexpr bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Reads a number at the front of `text` as the C library's %x does (white space, sign, optional 0x, any
/// width, either case) and removes it. False, with `text` undefined, when there is none. A magnitude beyond
/// 32 bits reads as 0xFFFFFFFF, whatever the sign.
bool ScanHex(std::string_view& text, std::uint32_t& value);

/// The same for a number that must be followed by `end`, which is removed with it.
inline bool ScanHexUntil(char end, std::string_view& text, std::uint32_t& value) {
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
  if (!ScanHex(text, value) || !text.starts_with(end)) return false;
  text.remove_prefix(1);
  return true;
}

/// Reads a number as the C library's atoi does: white space, sign, digits, the rest ignored; no digits give
/// 0. Values beyond 32 bits become the nearest limit.
std::int32_t ScanDecimal(std::string_view text);

}  // namespace kellanseek::protocol
