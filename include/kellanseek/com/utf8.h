#pragma once

#include <string>

namespace kellanseek::com {

/// Appends a character to a UTF-8 text. It must be one: at most 0x10FFFF and no surrogate.
inline void AppendUtf8(std::string& text, char32_t character) {
  const auto tail = [&](int shift) { text += static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0 | character >> 6);
    tail(0);
  } else if (character < 0x10000) {
    text += static_cast<char>(0xE0 | character >> 12);
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0 | character >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

}  // namespace kellanseek::com
