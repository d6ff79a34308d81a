#pragma once

#include <algorithm>
#include <string_view>
#include <type_traits>

namespace kellanseek::text {

// ASCII character classes, independent of the locale. Any other character counts as a letter without case.

template <typename Char>
constexpr bool IsAscii(Char c) {
  return static_cast<std::make_unsigned_t<Char>>(c) < 0x80;
}

template <typename Char>
constexpr bool IsAscii(std::basic_string_view<Char> text) {
  return std::all_of(text.begin(), text.end(), [](Char c) { return IsAscii(c); });
}

/// The white space of the C library.
template <typename Char>
constexpr bool IsSpace(Char c) {
  return c == Char{' '} || (c >= Char{'\t'} && c <= Char{'\r'});
}

template <typename Char>
constexpr bool IsDigit(Char c) {
  return c >= Char{'0'} && c <= Char{'9'};
}

/// The lowercase form of A to Z; any other character unchanged.
template <typename Char>
constexpr Char Folded(Char c) {
  return c >= Char{'A'} && c <= Char{'Z'} ? static_cast<Char>(c - Char{'A'} + Char{'a'}) : c;
}

template <typename Char>
constexpr bool IsBlank(std::basic_string_view<Char> text) {
  return std::all_of(text.begin(), text.end(), [](Char c) { return IsSpace(c); });
}

/// The text without trailing characters of `blanks`.
constexpr std::string_view TrimmedEnd(std::string_view text, std::string_view blanks) {
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

/// The text without leading and trailing characters of `blanks`. File formats differ in what counts as blank,
/// so each caller passes its own set.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return TrimmedEnd(text, blanks);
}

}  // namespace kellanseek::text
