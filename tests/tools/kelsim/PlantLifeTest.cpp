#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <utility>

#include "tests/tools/kelsim/PlantHarness.h"
#include "tools/kelsim/RandomLife.h"

namespace kellanseek::kelsim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(PlantLife, ARestartIsAnnouncedAndEndsWithTheIdentity) {
  PlantHarness harness(Controllers(2));
  harness.Script("1 restart 2\n10 restart 2 0.5");
  EXPECT_THAT(harness.Until(1000), ElementsAre("10.0.0.2 says 3"));
  harness.Hear(kFull);
  EXPECT_THAT(harness.Until(2999), ElementsAre("10.0.0.1 says 1")) << "a restarting controller sends nothing";
  EXPECT_THAT(harness.Until(3000), ElementsAre("10.0.0.2 says 1"));
  EXPECT_THAT(harness.Until(10'499), ElementsAre("10.0.0.2 says 3"));
  EXPECT_THAT(harness.Until(10'500), ElementsAre("10.0.0.2 says 1"));
}

TEST(PlantLife, PowerDownLastsUntilPowerUp) {
  PlantHarness harness(Controllers(1));
  harness.Script("1 power-down 1\n2 power-down 1\n3 rename 1 later\n3 restart 1\n9 power-up 1");
  EXPECT_THAT(harness.Until(8999), ElementsAre("10.0.0.1 says 4")) << "once";
  harness.Hear(kFull);
  EXPECT_THAT(harness.Until(8999), IsEmpty());
  const auto datagrams = harness.DatagramsUntil(9000);
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(Field(datagrams[0].text, "1"), "later");
}

TEST(PlantLife, EveryChangeIsAnnouncedWithItsNewValue) {
  struct Case {
    const char *change, *tag, *value;
  };
  const Case cases[] = {
      {"1 announce 2", "1", "Cell2"},
      {"1 rename 2 Cell 2 west", "1", "Cell 2 west"},
      {"1 system 2 Line9", "3", "Line9"},
      {"1 identity 2 {NEW}", "4", "{NEW}"},
      {"1 release 2 /hd1/x", "5", "/hd1/x"},
      {"1 mac 2 02-00-00-00-00-99", "9", "02-00-00-00-00-99"},
      {"1 address 2 10.9.0.1", "e", "10.9.0.1"},
      {"1 same-address 2 3", "e", "10.0.0.3"},
      {"1 same-identity 2 3", "4", "{7A1C-0003}"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.change);
    PlantHarness harness(Controllers(3));
    harness.Script(one.change);
    const auto datagrams = harness.DatagramsUntil(1000);
    ASSERT_EQ(datagrams.size(), 1U);
    EXPECT_EQ(Field(datagrams[0].text, one.tag), one.value);
    EXPECT_EQ(Field(datagrams[0].text, "2"), "ctrl-0002");
  }
}

TEST(PlantLife, ARangeMovesToConsecutiveAddressesAndTwoOnOneAddressBothAnswer) {
  PlantHarness harness(Controllers(4));
  harness.Script("1 address 2-3 10.0.9.255\n2 same-address 1 4");
  EXPECT_THAT(harness.Until(1000), ElementsAre("10.0.9.255 says 1", "10.0.10.0 says 1"));
  harness.Hear(Targeted("10.0.0.2"));
  EXPECT_THAT(harness.Until(1000), IsEmpty()) << "no controller is left at the old address";
  harness.Until(2000);
  harness.Hear(Targeted("10.0.0.4"));
  const auto datagrams = harness.DatagramsUntil(2000);
  ASSERT_EQ(datagrams.size(), 2U);
  EXPECT_NE(Field(datagrams[0].text, "9"), Field(datagrams[1].text, "9"));
}

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

}  // namespace
}  // namespace kellanseek::kelsim
