#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "platform/CodePage.h"

namespace kellanseek::test {
namespace {

using namespace std::string_literals;

struct Conversion {
  std::string narrow;
  std::wstring wide;
  std::string back;  ///< The wide text converted back; differs from `narrow` only if a byte is undefined.
};

/// Keyed by the value of KELLANSEEK_CODEPAGE. "" is the default, also used for an unknown name.
const std::map<std::string, std::vector<Conversion>>& Conversions() {
  static const std::map<std::string, std::vector<Conversion>> conversions = {
      {"",
       {{"S\xFC|d \x80 1", L"S\u00FC|d \u20AC 1", "S\xFC|d \x80 1"},
        {"\x81|\x8D", L"\uFFFD|\uFFFD", "?|?"},
        {"\xE4\0\xE4"s, L"\u00E4\0\u00E4"s, "\xE4\0\xE4"s}}},
      {"ISO-8859-5", {{"\xC6\xB8", L"\u0426\u0418", "\xC6\xB8"}}},
      {"CP932",
       {{"\x83\x5C", L"\u30BD", "\x83\x5C"},
        {"a\x83", L"a\uFFFD", "a?"},
        {"\xB1", L"\uFF71", "\xB1"},
        {"\xFF|", L"\uFFFD|", "?|"}}},
      {"UTF-8",
       {{"S\xC3\xBC|", L"S\u00FC|", "S\xC3\xBC|"}, {"\xF0\x9F\x8F\xAD", L"\U0001F3ED", "\xF0\x9F\x8F\xAD"}}},
      // ASCII bytes that are no ASCII text.
      {"UTF-16LE", {{"a\0b\0"s, L"ab", "a\0b\0"s}}},
  };
  return conversions;
}

TEST(NamedCodePageTest, ConvertsBothWays) {
  const char* const named = std::getenv("KELLANSEEK_CODEPAGE");
  auto found = Conversions().find(named == nullptr ? "" : named);
  if (found == Conversions().end()) found = Conversions().find("");
  for (const Conversion& c : found->second) {
    EXPECT_EQ(platform::ToWide(c.narrow), c.wide)
        << found->first << ": " << ::testing::PrintToString(c.narrow);
    text::CompactText text;
    platform::AssignText(text, c.narrow);
    EXPECT_EQ(text, c.wide) << found->first << ": " << ::testing::PrintToString(c.narrow);
    EXPECT_EQ(platform::ToNarrow(c.wide), c.back) << found->first << ": " << ::testing::PrintToString(c.wide);
  }
}

TEST(NamedCodePageTest, CharactersOutsideTheCodePageBecomeQuestionMarks) {
  const char* const named = std::getenv("KELLANSEEK_CODEPAGE");
  const bool holdsAll = named != nullptr && std::string(named) == "UTF-8";
  EXPECT_EQ(platform::ToNarrow(L"<\u0E01>"), holdsAll ? "<\xE0\xB8\x81>" : "<?>");
}

}  // namespace
}  // namespace kellanseek::test
