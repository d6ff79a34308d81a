#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kellanseek::events {

/// The numbers of an event, in the order of its text: lanSeekID, availability, reason.
using EventNumbers = std::array<std::int32_t, 3>;

/// Formats an event's text, "lanSeekID;availability;reason;" in signed decimal, without allocation.
class EventText {
 public:
  explicit EventText(const EventNumbers& numbers);
  std::wstring_view View() const { return {text_.data(), length_}; }

 private:
  static constexpr std::size_t kLongestNumber = 11;

  std::array<wchar_t, std::tuple_size_v<EventNumbers>*(kLongestNumber + 1)> text_;
  std::size_t length_ = 0;
};

/// Parses an event's text like the C library's "%d;%d;%d;": skips white space before a number, does not
/// require the last semicolon, ignores the rest, and clamps numbers to 32 bits. Returns the number of values
/// read; the others are unchanged.
std::size_t ScanEventText(std::wstring_view text, EventNumbers& numbers);

}  // namespace kellanseek::events
