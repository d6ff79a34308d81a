#include "protocol/ScanNumber.h"

#include <algorithm>
#include <array>
#include <limits>

namespace kellanseek::protocol {
namespace {

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

/// Removes white space and a sign; true for a minus.
bool TakeSign(std::string_view& text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool minus = text.front() == '-';
  text.remove_prefix(1);
  return minus;
}

}  // namespace

bool ScanHex(std::string_view& text, std::uint32_t& value) {
  const bool minus = TakeSign(text);
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
  if (text.empty() || HexDigit(text.front()) == kNoDigit) return false;
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
  std::uint64_t number = 0;
  do {
    number = std::min(number * 16 + HexDigit(text.front()), kMax + 1);
    text.remove_prefix(1);
  } while (!text.empty() && HexDigit(text.front()) != kNoDigit);
  // As the C library scans: a number that is too large is the largest one, whatever its sign.
  value = static_cast<std::uint32_t>(number > kMax ? kMax : minus ? 0 - number : number);
  return true;
}

std::int32_t ScanDecimal(std::string_view text) {
  const bool minus = TakeSign(text);
  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::int64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    number = number * 10 + (c - '0');
    if (number > kLimit) number = kLimit;
  }
  if (minus) return static_cast<std::int32_t>(-number);
  return static_cast<std::int32_t>(number == kLimit ? kLimit - 1 : number);
}

}  // namespace kellanseek::protocol
