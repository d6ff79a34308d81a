#include "events/EventData.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace kellanseek::events {
namespace {

bool IsSpace(wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); }
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

std::optional<std::int32_t> ScanNumber(std::wstring_view& text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  bool negative = false;
  if (!text.empty() && (text.front() == L'-' || text.front() == L'+')) {
    negative = text.front() == L'-';
    text.remove_prefix(1);
  }
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;

  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::int64_t magnitude = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
    magnitude = std::min(magnitude * 10 + (text.front() - L'0'), kLimit);
  }
  return static_cast<std::int32_t>(negative ? -magnitude : std::min(magnitude, kLimit - 1));
}

}  // namespace

EventText::EventText(const EventNumbers& numbers) {
  for (const std::int32_t number : numbers) {
    char digits[kLongestNumber] = {};
    const char* const end = std::to_chars(digits, digits + kLongestNumber, number).ptr;
    for (const char* digit = digits; digit != end; ++digit) text_[length_++] = static_cast<wchar_t>(*digit);
    text_[length_++] = L';';
  }
}

std::size_t ScanEventText(std::wstring_view text, EventNumbers& numbers) {
  for (std::size_t count = 0; count < numbers.size(); ++count) {
    if (count > 0) {
      if (text.empty() || text.front() != L';') return count;
      text.remove_prefix(1);
    }
    const std::optional<std::int32_t> number = ScanNumber(text);
    if (!number) return count;
    numbers[count] = *number;
  }
  return numbers.size();
}

}  // namespace kellanseek::events
