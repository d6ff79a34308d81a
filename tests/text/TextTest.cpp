#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/FailingAllocation.h"
#include "text/Ascii.h"
#include "text/CompactText.h"
#include "text/Json.h"
#include "text/Number.h"
#include "text/SipHash.h"
#include "text/Utf8.h"

namespace kellanseek::text {
namespace {

using namespace std::string_literals;

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

TEST(TextTest, CompactTextsGiveBackWhatTheyWereGiven) {
  const std::wstring highest(1, static_cast<wchar_t>(-1));
  std::vector<std::wstring> texts = {L"",       L"a",     L"S\u00FCd", L"\u0080 first",
                                     L"\u007F", L"a\0b"s, L"\0"s,      highest};
  for (const std::size_t length : {22U, 23U, 1000U}) texts.emplace_back(length, L'n');
  for (const std::wstring& each : texts) {
    for (const std::wstring& former : texts) {
      CompactText text(former);
      text = each;
      EXPECT_EQ(text.Wide(), each);
      EXPECT_EQ(text.size(), each.size());
      EXPECT_EQ(text.empty(), each.empty());
      EXPECT_EQ(text == CompactText(former), each == former);
      EXPECT_EQ(text == former, each == former);
    }
  }
  NEEDS_FAILING_ALLOCATIONS();
  CompactText text(L"stays");
  for (const std::wstring& longer : {std::wstring(50, L'n'), std::wstring(50, L'\u00E4')}) {
    const test::FailingAllocation failing(0);
    EXPECT_THROW(text = longer, std::bad_alloc);
  }
  EXPECT_FALSE(text.AssignAscii("S\xFC") || text != L"stays");
  EXPECT_TRUE(text.AssignAscii("a\x7F") && text == L"a\u007F");
}

TEST(TextTest, DecimalNumbersScanAsInTheStandardLibrary) {
  const std::string manyZeros(36, '0'), manyNines(32, '9');
  struct Case {
    std::int32_t number;
    bool plain;
    std::vector<std::string> texts;
  };
  const Case cases[] = {
      {42, true, {"42", " \t\r\n\v\f42", "42 ", "+42", "042", manyZeros + "42"}},
      {-7, true, {"-7"}},
      {0,
       false,
       {"", " ", "-", "+-7", "- 7", "0x1588", "true",
        "\x1F"
        "7"}},
      {1, false, {"1,000", "1.9", "1e3", "1 and more", "1:", "1/"}},
      {kMax, true, {"2147483647"}},
      {kMax, false, {"2147483648", manyNines}},
      {kMin, true, {"-2147483648"}},
      {kMin, false, {"-2147483649", "-" + manyNines}},
  };
  for (const auto& [number, plain, texts] : cases) {
    for (const std::string& narrow : texts) {
      const std::wstring wide(narrow.begin(), narrow.end());
      EXPECT_EQ(ToNumber(narrow), number) << ::testing::PrintToString(narrow);
      EXPECT_EQ(ToNumber(wide), number) << ::testing::PrintToString(narrow);
      EXPECT_EQ(IsNumber(wide), plain) << ::testing::PrintToString(narrow);
    }
  }
  // Digits and blanks of other scripts are none.
  EXPECT_EQ(ToNumber(L"\u0661"), 0);
  EXPECT_EQ(ToNumber(L"\u00A07"), 0);
}

TEST(TextTest, NumbersAreTakenOffTheFront) {
  std::wstring_view decimal = L" -12;7";
  EXPECT_EQ(TakeDecimal(decimal), -12);
  EXPECT_EQ(decimal, L";7");
  EXPECT_EQ(TakeDecimal(decimal), std::nullopt);

  struct Case {
    std::string_view text;
    bool taken;
    std::uint32_t value = 0;
    std::string_view rest = {};
  };
  const Case cases[] = {
      {"f:x", true, 0xF, "x"},
      {" \t+0x0Af:", true, 0xAF, ""},
      {"0x:", false},
      {"-1:", true, 0xFFFFFFFF, ""},
      {"-ffffffff:", true, 1, ""},
      {"100000000:", true, 0xFFFFFFFF, ""},
      {"-fffffffff:", true, 0xFFFFFFFF},
      {"0000000000012:", true, 0x12, ""},
      {"1", false},
      {"1 :", false},
      {"G:", false},
      {":", false},
      {"-:", false},
      {"0xg:", false},
  };
  for (const Case& c : cases) {
    std::string_view text = c.text;
    std::uint32_t value = 0;
    ASSERT_EQ(TakeHexUntil(':', text, value), c.taken) << c.text;
    if (!c.taken) continue;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(text, c.rest) << c.text;
  }
}

TEST(TextTest, BlanksAreTrimmedAndLettersFolded) {
  EXPECT_EQ(Trimmed(" \ta b\t\n", " \t"), "a b\t\n");
  EXPECT_EQ(Trimmed(" \t ", " \t"), "");
  EXPECT_EQ(Trimmed("", " "), "");
  EXPECT_EQ(TrimmedEnd("  a  ", " "), "  a");
  EXPECT_EQ(TrimmedEnd("  ", " "), "");
  std::wstring folded(L"@AZ[`az{\u00C4\u0130");
  for (wchar_t& c : folded) c = Folded(c);
  EXPECT_EQ(folded, L"@az[`az{\u00C4\u0130");
  for (int c = 0; c < 0x100; ++c) {
    const bool space = c == ' ' || (c >= 9 && c <= 13);
    EXPECT_EQ(IsSpace(static_cast<char>(c)), space) << c;
    EXPECT_EQ(IsSpace(static_cast<wchar_t>(c)), space) << c;
  }
}

TEST(TextTest, WideTextSurvivesTheWayToUtf8AndBack) {
  std::wstring all;
  for (char32_t code = 1; code < 0x110000; code += 37) {
    if (code >= 0xD800 && code < 0xE000) continue;
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) break;
    all += static_cast<wchar_t>(code);
  }
  EXPECT_EQ(all, FromUtf8(ToUtf8(all)));
  EXPECT_EQ("a\ufffd", ToUtf8(std::wstring{L'a', static_cast<wchar_t>(0xDC80)}));
}

TEST(TextTest, JsonIsNestedQuotedAndAlwaysUtf8) {
  Json list = Json::Array();
  EXPECT_EQ(list.Text(), "[]");
  list.Append(nullptr);
  list.Append(Json::Object());
  list.Append({{"one", 1}});
  Json object = {{"text", "a\"b\\c\n\x1f\xff\xc3\xbc"}, {"no", false}, {"least", kMin}};
  object.Set("list", list);
  EXPECT_EQ(object.Text(),
            "{\"text\":\"a\\\"b\\\\c\\u000a\\u001f\xef\xbf\xbd\xc3\xbc\",\"no\":false,"
            "\"least\":-2147483648,\"list\":[null,{},{\"one\":1}]}");
}

TEST(TextTest, TheKeyedHashIsSipHash) {
  const SipKey counted{0x0706050403020100, 0x0f0e0d0c0b0a0908};
  const std::string bytes("\0\1\2\3\4\5\6\7\x8\x9\xa\xb\xc\xd\xe", 15);
  // The reference implementation's, of texts that fill no word, nearly a word, one and nearly two.
  const std::pair<std::size_t, std::uint64_t> published[] = {
      {0, 0x726fdb47dd0e0e31}, {7, 0xab0200f58b01d137}, {8, 0x93f5f5799a932462}, {15, 0xa129ca6149be45e5}};
  for (const auto& [size, hash] : published) {
    EXPECT_EQ((SipHash<2, 4>(counted, std::string_view(bytes).substr(0, size))), hash) << size;
  }
  EXPECT_EQ(SipHash(SipKey{}, std::string_view("siphash")), 0x8264ceeccb16bcbe);

  // No character of a text goes unheard, wherever it stands.
  std::set<std::uint64_t> hashes;
  for (std::size_t size = 0; size <= 7; ++size) {
    std::u32string text(size, U'a');
    hashes.insert(SipHash(counted, std::u32string_view(text)));
    for (char32_t& c : text) {
      const char32_t before = std::exchange(c, U'\U00100061');
      hashes.insert(SipHash(counted, std::u32string_view(text)));
      c = before;
    }
  }
  EXPECT_EQ(hashes.size(), 8U + 28U);
  EXPECT_EQ(SipHash(counted, std::wstring_view(L"aBc"), Folded<wchar_t>),
            SipHash(counted, std::wstring_view(L"abc")));
}

}  // namespace
}  // namespace kellanseek::text
