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

TEST(Ipv4Test, ReadsWhatTheClassicConversionReads) {
  struct Case {
    std::string text;
    std::uint32_t host;  ///< kNoAddress for a malformed text.
  };
  constexpr std::uint32_t kBad = kNoAddress;
  for (const Case& c : {Case{"1.2.3.4", 0x01020304},
                        Case{"0.0.0.0", 0},
                        Case{"255.255.255.254", 0xFFFFFFFE},
                        Case{"255.255.255.255", kBad},
                        Case{"127.1", 0x7F000001},
                        Case{"10.1.258", 0x0A010102},
                        Case{"16909060", 0x01020304},
                        Case{"0", 0},
                        Case{"0x7f.1", 0x7F000001},
                        Case{"0X7F000001", 0x7F000001},
                        Case{"0177.0.0.1", 0x7F000001},
                        Case{"010.0.0.010", 0x08000008},
                        Case{"1.2.3.0x4", 0x01020304},
                        Case{"001.002.003.004", 0x01020304},
                        Case{"1.2.3.256", kBad},
                        Case{"256.1.1.1", kBad},
                        Case{"1.2.65536", kBad},
                        Case{"1.16777216", kBad},
                        Case{"4294967296", kBad},
                        Case{"99999999999999999999", kBad},
                        Case{"08.1.1.1", kBad},
                        Case{"1.2.3.4.5", kBad},
                        Case{"1..2.3", kBad},
                        Case{".1.2.3", kBad},
                        Case{"", kBad},
                        Case{" ", kBad},
                        Case{" 1.2.3.4", kBad},
                        Case{"1.2.3.4 ", kBad},
                        Case{"1.2. 3.4", kBad},
                        Case{"1.2.3.4\n", kBad},
                        Case{"1.2.3.4x", kBad},
                        Case{"-1.2.3.4", kBad},
                        Case{"+1.2.3.4", kBad},
                        Case{"a.b.c.d", kBad},
                        Case{"cell7", kBad},
                        Case{std::string("1.2.3.4\0", 8), kBad},
                        Case{std::string("1.2.3.4\0.5", 10), kBad},
                        Case{"1,2,3,4", kBad},
                        Case{"::1", kBad},
                        Case{std::string(5000, '1'), kBad}}) {
    SCOPED_TRACE(c.text.substr(0, 30));
    EXPECT_EQ(platform::HostOrder(ParseIpv4(c.text)), c.host);
    EXPECT_EQ(platform::HostOrder(ParseIpv4(std::wstring(c.text.begin(), c.text.end()))), c.host);
  }
  EXPECT_EQ(ParseIpv4(L"1.2.3.\uFF14"), kNoAddress) << "a digit, but not one of this code page";
  EXPECT_EQ(ParseIpv4(L"1.2.3.4\u4E00"), kNoAddress);
}

TEST(Ipv4Test, WritesWhatItReads) {
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

TEST(CodePageTest, AWideTextKeepsItsCapacity) {
  std::wstring wide(200, L'x');
  const wchar_t* const memory = wide.data();
  for (const std::size_t length : {150U, 3U, 0U, 200U}) {
    platform::AssignWide(wide, std::string(length, 'y'));
    ASSERT_EQ(wide, std::wstring(length, L'y'));
    EXPECT_EQ(wide.data(), memory) << "allocated again for " << length;
  }
}

TEST(CodePageTest, KeysAreEqualExactlyForEqualTexts) {
  const std::vector<std::wstring> texts = {L"",
                                           L"a",
                                           L"A",
                                           L"ab",
                                           L"a b",
                                           L"Stra\u00DFe",
                                           L"Strasse",
                                           L"\u00C4nderung",
                                           L"{7A1C-22}",
                                           L"{7a1c-22}",
                                           std::wstring(600, L'k'),
                                           std::wstring(600, L'k') + L"l"};
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
