#include "config/Settings.h"

#include <gtest/gtest.h>

#include <limits>
#include <string_view>

#include "controllers/PollSchedule.h"
#include "platform/Ipv4.h"

namespace kellanseek::test {
namespace {

using config::CKelLanSeekConfigSettings;

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

platform::Ipv4 Ip(const char* text) { return platform::ParseIpv4(std::string_view(text)); }

TEST(SettingsTest, ConvertsSecondsToTicksWithoutOverflow) {
  struct Case {
    std::int32_t tickInterval, seconds, ticks;
  };
  const Case cases[] = {{250, 60, 240},  {250, 0, 0},       {250, -1, -1},
                        {250, kMin, -1}, {250, kMax, kMax}, {250, kMax / 4, kMax - 3},
                        {300, 10, 30},   {1000, 5, 5},      {1001, 5, 5},
                        {kMax, 5, 5},    {0, 1, 1000},      {-250, 1, 1000},
                        {1, kMax, kMax}};
  for (const Case& c : cases) {
    CKelLanSeekConfigSettings settings;
    settings.TickInterval = c.tickInterval;
    EXPECT_EQ(settings.Ticks(c.seconds), c.ticks) << c.tickInterval << " ms, " << c.seconds << " s";
  }
}

TEST(SettingsTest, ReturnsSafeValuesForAnyConfiguration) {
  for (const std::int32_t wild : {kMin, -1, 0, 1, 70000, kMax}) {
    CKelLanSeekConfigSettings settings;
    settings.RefreshInterval = settings.NonLocalRefreshInterval = settings.Retries =
        settings.NonLocalRetries = settings.MaxRequestsPerSecond = settings.TickInterval = wild;
    for (const std::int32_t ticks :
         {settings.RefreshIntervalTicks(), settings.NonLocalRefreshIntervalTicks()}) {
      EXPECT_TRUE(wild < 0 ? ticks == -1 : ticks >= settings.TicksPerSecond()) << wild;
    }
    for (const std::int32_t retries : {settings.RetryCount(), settings.NonLocalRetryCount()}) {
      EXPECT_EQ(controllers::PollSchedule::OneMore(retries) - retries, wild < 0 ? 0 : 1) << wild;
      EXPECT_EQ(controllers::PollSchedule::OneLess(retries) - retries, wild < 0 ? 0 : -1) << wild;
      EXPECT_EQ(retries < 0, wild < 0);
    }
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

TEST(SettingsTest, SubNetsMatchByMaskAndMaskedAddress) {
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
    const config::SubNetEntry entry{c.address, c.mask};
    EXPECT_EQ(entry.Matches(Ip(c.interfaceAddress), Ip(c.interfaceMask)), c.matches)
        << c.interfaceAddress << "/" << c.interfaceMask;
  }
}

}  // namespace
}  // namespace kellanseek::test
