#include "config/Number.h"

#include <algorithm>
#include <limits>

namespace kellanseek::config {
namespace {

constexpr std::wstring_view kWhiteSpace = L" \t\n\v\f\r";
constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();

struct Scanned {
  std::int64_t value = 0;  ///< Clamped to just outside the 32 bits.
  std::size_t digits = 0;
  std::wstring_view rest;
};

Scanned Scan(std::wstring_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool negative = text.starts_with(L'-');
  if (negative || text.starts_with(L'+')) text.remove_prefix(1);
  Scanned scanned;
  while (scanned.digits < text.size() && text[scanned.digits] >= L'0' && text[scanned.digits] <= L'9') {
    scanned.value = std::min(scanned.value * 10 + (text[scanned.digits++] - L'0'), kMax + 2);
  }
  if (negative) scanned.value = -scanned.value;
  scanned.rest = text.substr(scanned.digits);
  return scanned;
}

}  // namespace

std::int32_t ToNumber(std::wstring_view text) {
  return static_cast<std::int32_t>(std::clamp(Scan(text).value, kMin, kMax));
}

bool IsNumber(std::wstring_view text) {
  const Scanned scanned = Scan(text);
  return scanned.digits > 0 && Trimmed(scanned.rest).empty() && scanned.value >= kMin &&
         scanned.value <= kMax;
}

std::wstring_view Trimmed(std::wstring_view text) {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::wstring_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

}  // namespace kellanseek::config
