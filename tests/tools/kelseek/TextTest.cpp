#include "client/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace kellanseek::kelseek {
namespace {

using namespace std::string_literals;

TEST(Text, EscapesEverythingThatControlsATerminal) {
  const struct {
    std::string text;
    std::string printed;
  } cases[] = {
      {"cell 1", "cell 1"},
      {"Zelle S\u00fcd", "Zelle S\u00fcd"},
      {"\u30bb\u30eb \U0001F916", "\u30bb\u30eb \U0001F916"},
      {"C:\\cell\\u001b", "C:\\cell\\u001b"},
      {"\x1b[31mred\x07", "\\u001b[31mred\\u0007"},
      {"a\0b\r\n\t"s, "a\\u0000b\\u000d\\u000a\\u0009"},
      {"\x7f\u0080\u009b\u009f\u00a0", "\\u007f\\u0080\\u009b\\u009f\u00a0"},
      {"\u202egnp.exe\u2066\u200f\ufeff", "\\u202egnp.exe\\u2066\\u200f\\ufeff"},
      {"\u2028\u2029", "\\u2028\\u2029"},
      {"bad \xff\xc3", "bad \ufffd\ufffd"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.printed, Printable(std::string_view(one.text)));
}

TEST(Text, WidthMatchesATerminal) {
  const struct {
    std::string text;
    std::size_t width;
  } cases[] = {{"", 0}, {"cell", 4}, {"S\u00fcd", 3}, {"u\u0308", 1}, {"\u30bb\u30eb", 4}, {"\U0001F916", 2}};
  for (const auto& one : cases) EXPECT_EQ(one.width, Width(one.text)) << one.text;
}

}  // namespace
}  // namespace kellanseek::kelseek
