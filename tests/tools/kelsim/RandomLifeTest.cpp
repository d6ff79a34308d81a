#include "tools/kelsim/RandomLife.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <tuple>

namespace kellanseek::kelsim {
namespace {

TEST(RandomLife, EveryEventReachesEveryControllerAndAbsencesEnd) {
  RandomLife life(11, 5, Moment(250), 1);
  std::set<std::pair<Action, std::uint32_t>> seen;
  std::map<std::pair<Action, std::uint32_t>, int> away;
  for (int period = 1; period <= 1000; ++period) {
    const Moment at = life.NextAt();
    EXPECT_EQ(at, Moment(250 * period));
    const auto events = life.Next();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().at, at);
    for (const LifeEvent& event : events) {
      ASSERT_TRUE(event.first >= 11 && event.first <= 15 && event.last == event.first);
      seen.insert({event.action, event.first});
      if (event.action == Action::PowerDown || event.action == Action::FallSilent)
        ++away[{event.action, event.first}];
      if (event.action == Action::PowerUp) --away[{Action::PowerDown, event.first}];
      if (event.action == Action::Speak) --away[{Action::FallSilent, event.first}];
    }
  }
  EXPECT_EQ(seen.size(), 5U * 6U);
  for (const auto& [what, count] : away) EXPECT_EQ(count, 0) << what.second;
}

TEST(RandomLife, TheSameSeedProducesTheSameEvents) {
  const auto tale = [](std::uint32_t seed) {
    RandomLife life(1, 50, Moment(1000), seed);
    std::string events;
    for (int i = 0; i < 20; ++i) events += life.Next().front().description + '\n';
    return events;
  };
  EXPECT_EQ(tale(7), tale(7));
  EXPECT_NE(tale(7), tale(8));
}

}  // namespace
}  // namespace kellanseek::kelsim
