#include "diagnostics/Trace.h"

#include "diagnostics/StepTrace.h"

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

TEST(TraceTest, WritesFivePiecesIfTheOutputIsEnabled) {
  Pieces output;
  output.enabled = false;
  Tracer(output, L"u").Error(L"message");
  EXPECT_TRUE(output.written.empty());
  output.enabled = true;
  Tracer(output, L"dynamicinfo").Error(L"LanSeek: error %d for %s", 5, L"10.0.0.1");
  EXPECT_EQ(output.written,
            (std::vector<std::wstring>{L"ReleaseErrorTrace: \nFile: ", L"dynamicinfo", L"\nError: ",
                                       L"LanSeek: error 5 for 10.0.0.1", L"\n"}));
}

TEST(TraceTest, TruncatesMessagesToTheirBuffer) {
  Pieces output;
  const Tracer trace(output, L"u");
  const std::wstring text(500, L'x');
  trace.Error(L"%s", text);
  trace.LongError(L"%s", text);
  EXPECT_EQ(output.written.at(3).size(), 99U);
  EXPECT_EQ(output.written.at(8).size(), 199U);
}

TEST(TraceTest, ExpandsPatterns) {
  const auto format = [](std::wstring_view pattern, std::initializer_list<MessageArgument> arguments) {
    wchar_t buffer[100];
    return std::wstring(FormatMessageText(pattern, arguments, buffer));
  };
  const std::wstring owned = L"owned";
  EXPECT_EQ(format(L"plain", {}), L"plain");
  EXPECT_EQ(format(L"%s and %s", {L"one", owned}), L"one and owned");
  EXPECT_EQ(format(L"%d %d", {std::int32_t{-2147483647 - 1}, std::uint32_t{0xFFFFFFFF}}), L"-2147483648 -1");
  EXPECT_EQ(format(L"%x", {std::uint32_t{0xC0040412}}), L"c0040412");
  EXPECT_EQ(format(L"100%%", {}), L"100%");
  EXPECT_EQ(format(L"%s", {static_cast<const wchar_t*>(nullptr)}), L"");
  EXPECT_EQ(format(L"%d left %d", {7}), L"7 left d");
  EXPECT_EQ(format(L"ends in %", {}), L"ends in %");
  EXPECT_EQ(format(L"%s", {L"%s%n"}), L"%s%n");
  EXPECT_EQ(format(L"%s-%s", {std::string_view("narrow"), std::string_view("t\xC3\xBCr")}), L"narrow-t??r");
}

TEST(TraceTest, TracesARepeatedlyFailingStepOnceAMinute) {
  static std::uint32_t now;
  now = 0xFFFFFFFF - 30'000;
  Pieces output;
  StepTrace failed(Tracer(output, L"dynamicinfo"), L"KelReceiver", [] { return now; });
  for (int step = 0; step < 3; ++step, now += 59'999) failed("broken");
  EXPECT_EQ(output.written.size(), 2 * 5U) << "at 0 s and, over the wrap of the clock, at 120 s";
  EXPECT_EQ(output.written.at(3), L"LanSeek: A step of thread KelReceiver has failed and is lost: broken");
}

}  // namespace
}  // namespace kellanseek::diagnostics
