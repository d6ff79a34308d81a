#include "events/EventData.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace kellanseek::events {
namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

TEST(EventDataTest, WritesSignedDecimalNumbersEachWithASemicolon) {
  EXPECT_EQ(EventText({11, 1, 0}).View(), L"11;1;0;");
  EXPECT_EQ(EventText({kMin, kMin, kMin}).View(), L"-2147483648;-2147483648;-2147483648;");
}

TEST(EventDataTest, ReadsWhatItWrites) {
  for (const EventNumbers& numbers : std::vector<EventNumbers>{{11, 1, 0}, {-1, kMax, kMin}, {0, 3, 9}}) {
    EventNumbers read = {};
    EXPECT_EQ(ScanEventText(EventText(numbers).View(), read), 3U);
    EXPECT_EQ(read, numbers);
  }
}

TEST(EventDataTest, ScansAsTheCLibraryDoes) {
  constexpr std::int32_t kUntouched = 77;
  struct Case {
    std::wstring text;
    std::size_t count;
    EventNumbers numbers;
  };
  for (const Case& test : std::vector<Case>{
           {L"11;1;0", 3, {11, 1, 0}},
           {L"11;1;0;and more", 3, {11, 1, 0}},
           {L" \t\r\n11; 1;\v+0;", 3, {11, 1, 0}},
           {L"11 ;1;0;", 1, {11, kUntouched, kUntouched}},
           {L"11;1", 2, {11, 1, kUntouched}},
           {L"11;1;", 2, {11, 1, kUntouched}},
           {L"11;1;x", 2, {11, 1, kUntouched}},
           {L"11;;0;", 1, {11, kUntouched, kUntouched}},
           {L"11;- 1;0", 1, {11, kUntouched, kUntouched}},
           {L"0x11;1;0;", 1, {0, kUntouched, kUntouched}},
           {L"", 0, {kUntouched, kUntouched, kUntouched}},
           {L";;;", 0, {kUntouched, kUntouched, kUntouched}},
           {L"99999999999999999999;-99999999999999999999;-2147483648;", 3, {kMax, kMin, kMin}}}) {
    EventNumbers numbers = {kUntouched, kUntouched, kUntouched};
    EXPECT_EQ(ScanEventText(test.text, numbers), test.count) << testing::PrintToString(test.text);
    EXPECT_EQ(numbers, test.numbers) << testing::PrintToString(test.text);
  }
}

}  // namespace
}  // namespace kellanseek::events
