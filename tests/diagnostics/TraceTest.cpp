#include "diagnostics/Trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kellanseek::diagnostics {
namespace {

class Pieces : public platform::DebugOutput {
 public:
  bool Enabled() const override { return enabled; }
  void Write(std::wstring_view text) override { written.emplace_back(text); }

  bool enabled = true;
  std::vector<std::wstring> written;
};

TEST(TraceTest, WritesFivePieces) {
  Pieces output;
  Tracer(output, L"dynamicinfo").Error(L"LanSeek: error %d for %s", 5, L"10.0.0.1");
  EXPECT_EQ(output.written,
            (std::vector<std::wstring>{L"ReleaseErrorTrace: \nFile: ", L"dynamicinfo", L"\nError: ",
                                       L"LanSeek: error 5 for 10.0.0.1", L"\n"}));
}

TEST(TraceTest, MessagesAreCutToTheBufferOfTheirKind) {
  Pieces output;
  const Tracer trace(output, L"u");
  const std::wstring text(500, L'x');
  trace.Error(L"%s", text);
  trace.LongError(L"%s", text);
  EXPECT_EQ(output.written.at(3).size(), kTraceBuffer - 1);
  EXPECT_EQ(output.written.at(8).size(), kLongTraceBuffer - 1);
}

TEST(TraceTest, WritesNothingWhereNobodyLooks) {
  Pieces output;
  output.enabled = false;
  Tracer(output, L"u").Error(L"message");
  EXPECT_TRUE(output.written.empty());
}

TEST(TraceTest, FillsPatterns) {
  struct Case {
    std::wstring pattern;
    std::vector<MessageArgument> arguments;
    std::wstring expected;
  };
  const std::wstring owned = L"owned";
  const auto format = [](const Case& test) {
    const auto& a = test.arguments;
    if (a.empty()) return FormatMessageText(test.pattern, {}, 100);
    if (a.size() == 1) return FormatMessageText(test.pattern, {a[0]}, 100);
    return FormatMessageText(test.pattern, {a[0], a[1]}, 100);
  };
  for (const Case& test : std::vector<Case>{
           {L"plain", {}, L"plain"},
           {L"%s and %s", {L"one", owned}, L"one and owned"},
           {L"%d %d", {std::int32_t{-2147483647 - 1}, std::uint32_t{0xFFFFFFFF}}, L"-2147483648 -1"},
           {L"%x", {std::uint32_t{0xC0040412}}, L"c0040412"},
           {L"100%%", {}, L"100%"},
           {L"%s", {static_cast<const wchar_t*>(nullptr)}, L""},
           {L"%d left %d", {7}, L"7 left d"},
           {L"ends in %", {}, L"ends in %"},
           {L"%s", {L"%s%n"}, L"%s%n"}}) {
    EXPECT_EQ(format(test), test.expected) << testing::PrintToString(test.pattern);
  }
}

}  // namespace
}  // namespace kellanseek::diagnostics
