#pragma once

#include <algorithm>
#include <string_view>

namespace kellanseek::text {

// What ASCII says of a character, whatever the locale; all other characters are letters without a case.

/// The white space of the C library.
template <typename Char>
constexpr bool IsSpace(Char c) {
  return c == Char{' '} || (c >= Char{'\t'} && c <= Char{'\r'});
}

template <typename Char>
constexpr bool IsDigit(Char c) {
  return c >= Char{'0'} && c <= Char{'9'};
}

/// The lowercase letter of A to Z; any other character stays.
template <typename Char>
constexpr Char Folded(Char c) {
  return c >= Char{'A'} && c <= Char{'Z'} ? static_cast<Char>(c - Char{'A'} + Char{'a'}) : c;
}

template <typename Char>
constexpr bool IsBlank(std::basic_string_view<Char> text) {
  return std::all_of(text.begin(), text.end(), IsSpace<Char>);
}

/// The text without the characters of `blanks` at its end.
constexpr std::string_view TrimmedEnd(std::string_view text, std::string_view blanks) {
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

/// The text without the characters of `blanks` at its ends. What counts as blank differs between the formats
/// that are read, so each caller names its own.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return TrimmedEnd(text, blanks);
}

}  // namespace kellanseek::text
