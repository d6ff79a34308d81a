#include "config/Settings.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "controllers/PollSchedule.h"

namespace kellanseek::test {
namespace {

using config::CKelLanSeekConfigSettings;

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

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
  EXPECT_EQ(CKelLanSeekConfigSettings().MaxRequestsPerTick(), 12U);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(70000), 4464);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(-1), 65535);
}

TEST(SettingsTest, WithoutAFileTheDocumentedValuesHold) {
  const CKelLanSeekConfigSettings s;
  const std::vector<std::int32_t> flags = {s.DynamicDetectionEnabled, s.NonLocalUpdatesEnabled,
                                           s.DetectInterfaceChanges};
  EXPECT_EQ(flags, std::vector<std::int32_t>(3, 1));
  const std::vector<std::int32_t> ports = {s.RequestPort, s.ResponsePort, s.NonLocalPort};
  EXPECT_EQ(ports, (std::vector<std::int32_t>{5512, 5513, 5514}));
  const std::vector<std::int32_t> times = {s.RefreshInterval,        s.RefreshTimeout,
                                           s.VCRefreshInterval,      s.NonLocalRefreshInterval,
                                           s.NonLocalRefreshTimeout, s.TickInterval};
  EXPECT_EQ(times, (std::vector<std::int32_t>{60, 4, 1, 32, 3, 250}));
  const std::vector<std::int32_t> counts = {s.Retries, s.NonLocalRetries, s.MaxRequestsPerSecond,
                                            s.FakeRemoteVCAs, s.InterfaceMode};
  EXPECT_EQ(counts, (std::vector<std::int32_t>{3, 3, 48, VC, config::AllInterfaces}));
}

}  // namespace
}  // namespace kellanseek::test
