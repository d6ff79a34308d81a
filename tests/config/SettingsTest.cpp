#include "config/Settings.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "config/Number.h"
#include "platform/Ipv4.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {
namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

platform::Ipv4 Ip(const char* text) { return platform::ParseIpv4(std::string_view(text)); }

TEST(SettingsTest, ConvertsNumbersAsTheStandardLibraryDoes) {
  struct Case {
    const wchar_t* text;
    std::int32_t number;
    bool plain;
  };
  const Case cases[] = {
      {L"5512", 5512, true},
      {L" \t\r\n\v\f42", 42, true},
      {L"42 ", 42, true},
      {L"+7", 7, true},
      {L"-7", -7, true},
      {L"007", 7, true},
      {L"", 0, false},
      {L" ", 0, false},
      {L"-", 0, false},
      {L"+-7", 0, false},
      {L"- 7", 0, false},
      {L"0x1588", 0, false},
      {L"5512 and more", 5512, false},
      {L"1,000", 1, false},
      {L"1.9", 1, false},
      {L"1e3", 1, false},
      {L"true", 0, false},
      {L"\u0661", 0, false},
      {L"\u00A07", 0, false},
      {L"2147483647", kMax, true},
      {L"2147483648", kMax, false},
      {L"-2147483648", kMin, true},
      {L"-2147483649", kMin, false},
      {L"99999999999999999999999999999999", kMax, false},
      {L"-99999999999999999999999999999999", kMin, false},
      {L"00000000000000000000000000000000000009", 9, true},
  };
  for (const Case& c : cases) {
    const std::wstring shown = c.text;
    EXPECT_EQ(config::ToNumber(c.text), c.number) << std::string(shown.begin(), shown.end());
    EXPECT_EQ(config::IsNumber(c.text), c.plain) << std::string(shown.begin(), shown.end());
  }
}

TEST(SettingsTest, CountsTicksInWholeNumbersWithoutOverflow) {
  struct Case {
    std::int32_t tickInterval, seconds, ticks;
  };
  const Case cases[] = {
      {250, 60, 240},  {250, 0, 0},       {250, -1, 0},
      {250, kMin, 0},  {250, kMax, kMax}, {250, kMax / 4, kMax - 3},
      {300, 10, 30},   {1000, 5, 5},      {1001, 5, 5},
      {kMax, 5, 5},    {0, 1, 1000},      {-250, 1, 1000},
      {1, kMax, kMax},
  };
  for (const Case& c : cases) {
    CKelLanSeekConfigSettings settings;
    settings.TickInterval = c.tickInterval;
    EXPECT_EQ(settings.Ticks(c.seconds), c.ticks) << c.tickInterval << " ms, " << c.seconds << " s";
  }
}

TEST(SettingsTest, WorksWithSafeValuesWhateverIsConfigured) {
  for (const std::int32_t wild : {kMin, -1, 0, 1, 70000, kMax}) {
    CKelLanSeekConfigSettings settings;
    settings.RefreshInterval = settings.NonLocalRefreshInterval = settings.Retries =
        settings.NonLocalRetries = settings.MaxRequestsPerSecond = settings.TickInterval = wild;
    EXPECT_GE(settings.RefreshIntervalTicks(), settings.TicksPerSecond()) << wild;
    EXPECT_GE(settings.NonLocalRefreshIntervalTicks(), settings.TicksPerSecond()) << wild;
    EXPECT_GE(settings.RetryCount(), 0) << wild;
    EXPECT_LT(settings.NonLocalRetryCount(), kMax) << wild;
    EXPECT_GE(settings.MaxRequestsPerTick(), 1U) << wild;
    EXPECT_GE(settings.TickMilliseconds(), 1) << wild;
    EXPECT_GE(settings.TicksPerSecond(), 1) << wild;
  }
  const CKelLanSeekConfigSettings defaults;
  EXPECT_EQ(defaults.RefreshIntervalTicks(), 240);
  EXPECT_EQ(defaults.MaxRequestsPerTick(), 12U);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(70000), 4464);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(-1), 65535);
}

TEST(SettingsTest, ASubNetMatchesByMaskAndMaskedAddress) {
  struct Case {
    const wchar_t* address;
    const wchar_t* mask;
    const char* interfaceAddress;
    const char* interfaceMask;
    bool matches;
  };
  const Case cases[] = {
      {L"192.168.1.77", L"255.255.255.0", "192.168.1.5", "255.255.255.0", true},
      {L"192.168.1.77", L"255.255.255.0", "192.168.1.5", "255.255.0.0", false},
      {L"192.168.1.77", L"255.255.255.0", "192.168.2.5", "255.255.255.0", false},
      {L"0.0.0.0", L"0.0.0.0", "192.168.2.5", "0.0.0.0", true},
      {L"", L"255.255.255.0", "192.168.1.5", "255.255.255.0", false},
      {L"192.168.1.5", L"255.255.255.255", "192.168.1.5", "255.255.255.255", false},
      {L"255.255.255.255", L"255.255.255.0", "255.255.255.1", "255.255.255.0", false},
  };
  for (const Case& c : cases) {
    const SubNetEntry entry{c.address, c.mask};
    EXPECT_EQ(entry.Matches(Ip(c.interfaceAddress), Ip(c.interfaceMask)), c.matches)
        << c.interfaceAddress << "/" << c.interfaceMask;
  }
}

TEST(SettingsTest, ValidationRemovesBadSubNetsOneByOne) {
  FakeDebugOutput traces;
  const diagnostics::Tracer tracer(traces, L"KelLanSeekConfig");
  CKelLanSeekConfigSettings settings;
  settings.InterfaceMode = UseListed;
  settings.SubNets = {{L"", L"255.0.0.0"},
                      {L"10.0.0.999", L"255.0.0.0"},
                      {L"10.0.0.1", L"255.0.0.0"},
                      {L"10.0.0.1", L"255.255.255.255"},
                      {L"x", L"y"},
                      {L"11.0.0.1", L"255.0.0.0"}};
  settings.ValidateInterfaces(tracer);
  ASSERT_EQ(settings.SubNets.size(), 2U);
  EXPECT_EQ(settings.SubNets[0].IPNumber, L"10.0.0.1");
  EXPECT_EQ(settings.SubNets[1].IPNumber, L"11.0.0.1");
  EXPECT_EQ(settings.DynamicDetectionEnabled, 1);
  const std::wstring message = L"CKelLanSeekConfigSettings: Bad interface specified. Removed";
  EXPECT_EQ(traces.Messages(), std::vector<std::wstring>(4, message));
}

TEST(SettingsTest, ValidationSettlesTheSelectionOfInterfaces) {
  struct Case {
    std::int32_t mode;
    bool listed;
    std::int32_t dynamic;
    std::int32_t settledMode;
    bool stillListed;
    std::int32_t settledDynamic;
  };
  const Case cases[] = {
      {AllInterfaces, false, 1, AllInterfaces, false, 1}, {AllInterfaces, false, 0, UseListed, false, 0},
      {ExcludeListed, true, 1, ExcludeListed, true, 1},   {ExcludeListed, false, 1, ExcludeListed, false, 1},
      {ExcludeListed, true, 0, UseListed, false, 0},      {UseListed, true, 1, UseListed, true, 1},
      {UseListed, false, 1, UseListed, false, 0},         {UseListed, true, 0, UseListed, false, 0},
  };
  for (const Case& c : cases) {
    FakeDebugOutput traces;
    CKelLanSeekConfigSettings settings;
    settings.InterfaceMode = c.mode;
    settings.DynamicDetectionEnabled = c.dynamic;
    if (c.listed) settings.SubNets = {{L"10.0.0.0", L"255.0.0.0"}};
    settings.ValidateInterfaces(diagnostics::Tracer(traces, L"KelLanSeekConfig"));
    EXPECT_EQ(settings.InterfaceMode, c.settledMode) << c.mode << c.listed << c.dynamic;
    EXPECT_EQ(!settings.SubNets.empty(), c.stillListed) << c.mode << c.listed << c.dynamic;
    EXPECT_EQ(settings.DynamicDetectionEnabled, c.settledDynamic) << c.mode << c.listed << c.dynamic;
    EXPECT_TRUE(traces.Messages().empty());
  }
}

}  // namespace
}  // namespace kellanseek::test
