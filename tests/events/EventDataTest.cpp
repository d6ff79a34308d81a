#include "events/EventData.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace kellanseek::events {
namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

TEST(EventDataTest, FormatsAndParsesSignedDecimalsWithSemicolons) {
  const std::pair<EventNumbers, std::wstring> cases[] = {
      {{11, 1, 0}, L"11;1;0;"},
      {{-1, kMax, kMin}, L"-1;2147483647;-2147483648;"},
      {{kMin, kMin, kMin}, L"-2147483648;-2147483648;-2147483648;"}};
  for (const auto& [numbers, text] : cases) {
    EXPECT_EQ(EventText(numbers).View(), text);
    EventNumbers read = {};
    EXPECT_EQ(ScanEventText(text, read), 3U);
    EXPECT_EQ(read, numbers);
  }
}

TEST(EventDataTest, ScansNumbersLikeTheCLibrary) {
  constexpr std::int32_t kUntouched = 77;
  const auto expect = [](std::size_t count, const EventNumbers& expected,
                         const std::vector<std::wstring>& texts) {
    for (const std::wstring& text : texts) {
      EventNumbers numbers = {kUntouched, kUntouched, kUntouched};
      EXPECT_EQ(ScanEventText(text, numbers), count) << testing::PrintToString(text);
      EXPECT_EQ(numbers, expected) << testing::PrintToString(text);
    }
  };
  expect(3, {11, 1, 0}, {L"11;1;0", L"11;1;0;and more", L" \t\r\n11; 1;\v+0;"});
  expect(3, {kMax, kMin, kMin}, {L"99999999999999999999;-99999999999999999999;-2147483648;"});
  expect(2, {11, 1, kUntouched}, {L"11;1", L"11;1;", L"11;1;x"});
  expect(1, {11, kUntouched, kUntouched}, {L"11 ;1;0;", L"11;;0;", L"11;- 1;0"});
  expect(1, {0, kUntouched, kUntouched}, {L"0x11;1;0;"});
  expect(0, {kUntouched, kUntouched, kUntouched}, {L"", L";;;"});
}

}  // namespace
}  // namespace kellanseek::events
