#include "client/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace kellanseek::kelseek {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kWithoutWidth[] = {{0x300, 0x36F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}};
constexpr Range kTwoColumns[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},
                                 {0xF900, 0xFAFF}, {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
                                 {0xFFE0, 0xFFE6}, {0x1F300, 0x1FAFF}, {0x20000, 0x3FFFD}};

template <std::size_t size>
bool Within(const Range (&ranges)[size], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

}  // namespace

std::size_t Width(std::string_view utf8) {
  std::size_t width = 0;
  for (const char32_t character : text::CodePoints(utf8)) {
    width += Within(kTwoColumns, character) ? 2 : Within(kWithoutWidth, character) ? 0 : 1;
  }
  return width;
}

std::string CodeText(HRESULT result) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(result));
  return text.data();
}

}  // namespace kellanseek::kelseek
