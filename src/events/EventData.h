#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kellanseek::events {

/// The numbers of an event, in the order of its text: lanSeekID, availability, reason.
using EventNumbers = std::array<std::int32_t, 3>;

/// An event's text, "lanSeekID;availability;reason;" in signed decimal. Made without allocation.
class EventText {
 public:
  explicit EventText(const EventNumbers& numbers);
  std::wstring_view View() const { return {text_.data(), length_}; }

 private:
  static constexpr std::size_t kLongestNumber = 11;

  std::array<wchar_t, std::tuple_size_v<EventNumbers>*(kLongestNumber + 1)> text_;
  std::size_t length_ = 0;
};

/// Reads an event's text as the C library's "%d;%d;%d;" does: white space before a number is skipped, the
/// last semicolon need not be there, the rest is ignored. Numbers beyond 32 bits become the nearest limit.
/// Returns how many numbers were read; the others keep their value.
std::size_t ScanEventText(std::wstring_view text, EventNumbers& numbers);

}  // namespace kellanseek::events
