#include "events/EventData.h"

#include <charconv>
#include <optional>

#include "text/Number.h"

namespace kellanseek::events {

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
      if (!text.starts_with(L';')) return count;
      text.remove_prefix(1);
    }
    const std::optional<std::int32_t> number = text::TakeDecimal(text);
    if (!number) return count;
    numbers[count] = *number;
  }
  return numbers.size();
}

}  // namespace kellanseek::events
