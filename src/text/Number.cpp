#include "text/Number.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "text/Ascii.h"

namespace kellanseek::text {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::uint32_t kNoDigit = 16;

constexpr std::array<std::uint8_t, 256> kHexDigits = [] {
  std::array<std::uint8_t, 256> digits{};
  for (auto& digit : digits) digit = kNoDigit;
  for (std::size_t i = 0; i < 10; ++i) digits['0' + i] = static_cast<std::uint8_t>(i);
  for (std::size_t i = 0; i < 6; ++i) {
    digits['a' + i] = digits['A' + i] = static_cast<std::uint8_t>(10 + i);
  }
  return digits;
}();

std::uint32_t HexDigit(char c) { return kHexDigits[static_cast<unsigned char>(c)]; }

/// Removes leading white space and a sign. Returns true for a minus.
template <typename Char>
bool TakeSign(std::basic_string_view<Char>& text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  if (text.empty() || (text.front() != Char{'-'} && text.front() != Char{'+'})) return false;
  const bool minus = text.front() == Char{'-'};
  text.remove_prefix(1);
  return minus;
}

/// Reads the number at the front of `text` and removes it. A number beyond 32 bits is clamped, but stays
/// outside the range so that callers notice. Returns nothing if there are no digits.
template <typename Char>
std::optional<std::int64_t> Scan(std::basic_string_view<Char>& text) {
  const bool minus = TakeSign(text);
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;
  std::int64_t number = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    number = std::min(number * 10 + (text.front() - Char{'0'}), kMax + 2);
  }
  return minus ? -number : number;
}

template <typename Char>
std::optional<std::int32_t> Take(std::basic_string_view<Char>& text) {
  const std::optional<std::int64_t> number = Scan(text);
  if (!number) return std::nullopt;
  return static_cast<std::int32_t>(std::clamp(*number, kMin, kMax));
}

}  // namespace

std::optional<std::int32_t> TakeDecimal(std::wstring_view& text) { return Take(text); }

std::int32_t ToNumber(std::string_view text) { return Take(text).value_or(0); }

std::int32_t ToNumber(std::wstring_view text) { return Take(text).value_or(0); }

bool IsNumber(std::wstring_view text) {
  const std::optional<std::int64_t> number = Scan(text);
  return number && *number >= kMin && *number <= kMax && IsBlank(text);
}

bool TakeHex(std::string_view& text, std::uint32_t& value) {
  const bool minus = TakeSign(text);
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
  if (text.empty() || HexDigit(text.front()) == kNoDigit) return false;
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t number = 0;
  do {
    number = std::min(number * 16 + HexDigit(text.front()), kLargest + 1);
    text.remove_prefix(1);
  } while (!text.empty() && HexDigit(text.front()) != kNoDigit);
  // As in the C library, a number that is too large becomes the largest one, whatever its sign.
  value = static_cast<std::uint32_t>(number > kLargest ? kLargest : minus ? 0 - number : number);
  return true;
}

}  // namespace kellanseek::text
