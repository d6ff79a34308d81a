#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/CodePage.h"
#include "platform/Ipv4.h"

namespace kellanseek::test {
namespace {

using platform::kNoAddress;
using platform::ParseIpv4;

TEST(Ipv4Test, AcceptsTheFormsOfTheClassicConversion) {
  const auto expect = [](std::uint32_t host, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      SCOPED_TRACE(text.substr(0, 30));
      EXPECT_EQ(platform::HostOrder(ParseIpv4(text)), host);
      EXPECT_EQ(platform::HostOrder(ParseIpv4(std::wstring(text.begin(), text.end()))), host);
    }
  };
  expect(0x01020304, {"1.2.3.4", "16909060", "1.2.3.0x4", "001.002.003.004"});
  expect(0x01020304, {"000000000000000000000000000000000000000000000000000000001.2.3.4"});
  expect(0, {"0.0.0.0", "0"});
  expect(0xFFFFFFFE, {"255.255.255.254"});
  expect(0x7F000001, {"127.1", "0x7f.1", "0X7F000001", "0177.0.0.1"});
  expect(0x0A010102, {"10.1.258"});
  expect(0x08000008, {"010.0.0.010"});
  expect(kNoAddress, {"255.255.255.255", "1.2.3.256", "256.1.1.1", "1.2.65536", "1.16777216", "4294967296",
                      "08.1.1.1",        "1.2.3.4.5", "1..2.3",    ".1.2.3",    "",           " ",
                      " 1.2.3.4",        "1.2.3.4 ",  "1.2. 3.4",  "1.2.3.4\n", "1.2.3.4x",   "-1.2.3.4",
                      "+1.2.3.4",        "a.b.c.d",   "1,2,3,4",   "::1"});
  expect(kNoAddress, {std::string("1.2.3.4\0", 8), std::string("1.2.3.4\0.5", 10), std::string(5000, '1')});
  EXPECT_EQ(ParseIpv4(L"1.2.3.\uFF14"), kNoAddress) << "a digit, but not one of this code page";
  EXPECT_EQ(ParseIpv4(L"1.2.3.4\u4E00"), kNoAddress);
}

TEST(Ipv4Test, FormatsWhatItParses) {
  for (const char* text : {"0.0.0.0", "1.2.3.4", "10.0.0.255", "192.168.100.9", "255.255.255.255"}) {
    const std::string narrow = text;
    EXPECT_EQ(platform::FormatIpv4(ParseIpv4(narrow)), narrow);
    EXPECT_EQ(platform::FormatIpv4Wide(ParseIpv4(narrow)), std::wstring(narrow.begin(), narrow.end()));
  }
  EXPECT_EQ(platform::FormatIpv4(platform::NetworkOrder(0xC0A8017FU)), "192.168.1.127");
}

TEST(CodePageTest, AsciiIsTheSameInEveryCodePage) {
  std::string all;
  for (char c = 0; c < 0x7F; ++c) all.push_back(c);
  const std::wstring wide(all.begin(), all.end());
  EXPECT_EQ(platform::ToWide(all), wide);
  EXPECT_EQ(platform::ToNarrow(wide), all);
  EXPECT_EQ(platform::ToWide(""), L"");
  EXPECT_EQ(platform::ToNarrow(L""), "");
}

TEST(CodePageTest, AssignWideReusesTheCapacity) {
  std::wstring wide(200, L'x');
  const wchar_t* const memory = wide.data();
  for (const std::size_t length : {150U, 3U, 0U, 200U}) {
    platform::AssignWide(wide, std::string(length, 'y'));
    ASSERT_EQ(wide, std::wstring(length, L'y'));
    EXPECT_EQ(wide.data(), memory) << "allocated again for " << length;
  }
}

TEST(CodePageTest, LocaleKeysAreEqualExactlyForEqualTexts) {
  std::vector<std::wstring> texts = {L"", L"a", L"A", L"ab", L"a b", L"Stra\u00DFe", L"Strasse"};
  for (const wchar_t* const more : {L"\u00C4nderung", L"{7A1C-22}", L"{7a1c-22}"}) texts.emplace_back(more);
  texts.emplace_back(600, L'k');
  texts.push_back(texts.back() + L"l");
  for (const std::wstring& left : texts) {
    for (const std::wstring& right : texts) {
      std::wstring leftStorage;
      std::wstring rightStorage;
      const bool keysEqual =
          platform::LocaleKey(left, leftStorage) == platform::LocaleKey(right, rightStorage);
      EXPECT_EQ(platform::LocaleEqual(left, right), keysEqual)
          << "lengths " << left.size() << " " << right.size();
      EXPECT_TRUE(keysEqual || &left != &right);
    }
  }
  EXPECT_FALSE(platform::LocaleEqual(L"cell", L"Cell"));
  EXPECT_FALSE(platform::LocaleEqual(L"", L"a"));
}

}  // namespace
}  // namespace kellanseek::test
