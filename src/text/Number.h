#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace kellanseek::text {

// Numbers in the C library's syntax: leading white space, an optional sign, then digits up to the first other
// character. Independent of the locale. Used for datagrams, files and event texts.

/// Reads a decimal number at the front of `text` and removes it. Clamps to 32 bits. Returns nothing, with
/// `text` undefined, if there are no digits.
std::optional<std::int32_t> TakeDecimal(std::wstring_view& text);

/// The decimal number at the start of a text, clamped to 32 bits; 0 if there is none.
std::int32_t ToNumber(std::string_view text);
std::int32_t ToNumber(std::wstring_view text);

/// Whether a text is a decimal number that fits in 32 bits, with nothing but white space around it.
bool IsNumber(std::wstring_view text);

/// Reads a number at the front of `text` like the C library's %x (white space, sign, optional 0x, any width,
/// either case) and removes it. Returns false, with `text` undefined, if there is none. A magnitude beyond 32
/// bits becomes 0xFFFFFFFF, whatever the sign.
bool TakeHex(std::string_view& text, std::uint32_t& value);

/// The same for a number followed by `end`, which is removed too.
inline bool TakeHexUntil(char end, std::string_view& text, std::uint32_t& value) {
  // A fast path: nearly every tag of a datagram has one or two digits.
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < text.size() && i < 3; ++i) {
    const char c = text[i];
    const bool letter = c >= 'a' && c <= 'f';
    if (letter || (c >= '0' && c <= '9')) {
      number = number * 16 + static_cast<std::uint32_t>(letter ? c - 'a' + 10 : c - '0');
    } else if (c == end && i > 0) {
      value = number;
      text.remove_prefix(i + 1);
      return true;
    } else {
      break;
    }
  }
  if (!TakeHex(text, value) || !text.starts_with(end)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace kellanseek::text
