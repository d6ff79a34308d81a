#include "config/Settings.h"

#include <gtest/gtest.h>

#include <limits>

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
  const CKelLanSeekConfigSettings defaults;
  EXPECT_EQ(defaults.RefreshIntervalTicks(), 240);
  EXPECT_EQ(defaults.MaxRequestsPerTick(), 12U);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(70000), 4464);
  EXPECT_EQ(CKelLanSeekConfigSettings::Port(-1), 65535);
}

}  // namespace
}  // namespace kellanseek::test
