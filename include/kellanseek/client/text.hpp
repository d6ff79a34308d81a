#pragma once

// UTF-8 to and from wide text, texts for terminals, and numbers as text. Part of kellanseek/client.hpp.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <kellanseek/com.h>
#include <kellanseek/com/utf8.h>

namespace kellanseek::client {

namespace detail {

inline constexpr char32_t kReplacement = 0xFFFD;

constexpr bool IsBetween(char32_t value, char32_t first, char32_t last) {
  return value >= first && value <= last;
}

/// Removes the first character of a UTF-8 text, which must not be empty, and returns it. What begins like a
/// character but is none becomes one kReplacement.
inline char32_t TakeCharacter(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  text.remove_prefix(1);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kReplacement;
  const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  // The second byte's range excludes what is longer than necessary, surrogates, and what is too large.
  unsigned first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  auto character = static_cast<char32_t>(lead & (0x3F >> more));
  for (int i = 0; i < more; ++i) {
    const unsigned next = text.empty() ? 0U : static_cast<unsigned char>(text.front());
    if (next < first || next > last) return kReplacement;
    character = character << 6 | (next & 0x3FU);
    text.remove_prefix(1);
    first = 0x80;
    last = 0xBF;
  }
  return character;
}

/// The same for UTF-16 and UTF-32, depending on the size of a unit.
template <typename Unit>
char32_t TakeCharacter(std::basic_string_view<Unit>& text) {
  static_assert(sizeof(Unit) == 2 || sizeof(Unit) == 4, "a unit of UTF-16 or UTF-32");
  const auto unit = static_cast<char32_t>(text.front());
  text.remove_prefix(1);
  if constexpr (sizeof(Unit) == 2) {
    if (IsBetween(unit, 0xD800, 0xDBFF) && !text.empty()) {
      const auto low = static_cast<char32_t>(text.front());
      if (IsBetween(low, 0xDC00, 0xDFFF)) {
        text.remove_prefix(1);
        return 0x10000 + ((unit - 0xD800) << 10 | (low - 0xDC00));
      }
    }
  }
  return unit > 0x10FFFF || IsBetween(unit, 0xD800, 0xDFFF) ? kReplacement : unit;
}

inline void AppendCharacter(std::string& text, char32_t character) { com::AppendUtf8(text, character); }

template <typename Unit>
void AppendCharacter(std::basic_string<Unit>& text, char32_t character) {
  if (sizeof(Unit) == 4 || character < 0x10000) {
    text += static_cast<Unit>(character);
  } else {
    text += static_cast<Unit>(0xD800 + ((character - 0x10000) >> 10));
    text += static_cast<Unit>(0xDC00 + ((character - 0x10000) & 0x3FF));
  }
}

template <typename To, typename From>
std::basic_string<To> Convert(std::basic_string_view<From> text) {
  std::basic_string<To> converted;
  converted.reserve(text.size());
  while (!text.empty()) AppendCharacter(converted, TakeCharacter(text));
  return converted;
}

/// Control characters of both sets, soft hyphen, marks for direction and of no width, line and paragraph
/// separators.
constexpr bool IsUnprintable(char32_t character) {
  return character < 0x20 || IsBetween(character, 0x7F, 0x9F) || character == 0xAD || character == 0x61C ||
         IsBetween(character, 0x200B, 0x200F) || IsBetween(character, 0x2028, 0x202E) ||
         IsBetween(character, 0x2060, 0x206F) || character == 0xFEFF;
}

/// Lower case for the letters A to Z.
constexpr char32_t FoldCase(char32_t letter) {
  return IsBetween(letter, U'A', U'Z') ? letter - U'A' + U'a' : letter;
}

}  // namespace detail

/// Converts wide text (UTF-16 on Windows, UTF-32 elsewhere) to UTF-8. What is not a character becomes U+FFFD.
inline std::string to_utf8(std::wstring_view text) { return detail::Convert<char>(text); }

/// Converts UTF-8 to wide text. What is not a character becomes U+FFFD.
inline std::wstring to_wide(std::string_view utf8) { return detail::Convert<wchar_t>(utf8); }

/// Makes a text safe for a terminal or a line of a log. Controllers choose their texts freely, so what moves
/// the cursor, ends a line, turns the direction of writing or has no width becomes \uXXXX, which means the
/// same in JSON: control characters (also those above 127), direction and zero-width marks, soft hyphens,
/// separators of lines and paragraphs. A backslash stays as it is. What is not a character becomes U+FFFD.
inline std::string printable(std::string_view utf8) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string safe;
  safe.reserve(utf8.size());
  while (!utf8.empty()) {
    const char32_t character = detail::TakeCharacter(utf8);
    if (detail::IsUnprintable(character)) {
      safe += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) safe += kDigits[character >> shift & 0xF];
    } else {
      detail::AppendCharacter(safe, character);
    }
  }
  return safe;
}

/// A result code in hexadecimal, such as "0x80004005".
inline std::string code_text(HRESULT code) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "0x";
  const auto number = static_cast<std::uint32_t>(code);
  for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[number >> shift & 0xF];
  return text;
}

}  // namespace kellanseek::client
