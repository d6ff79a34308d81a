#include "tools/kelsim/Plant.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/tools/kelsim/PlantHarness.h"

namespace kellanseek::kelsim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Endpoint kPoller{0x0100000A, 40000};

TEST(PlantAnswers, AnswersEachRequestFromTheAddressedControllers) {
  struct Case {
    std::string request;
    std::optional<Endpoint> from;
    std::vector<std::string> answers;
  };
  const Case cases[] = {
      {kFull, {}, {"10.0.0.1 says 1", "10.0.0.2 says 1", "10.0.0.3 says 1"}},
      {kRefresh, {}, {"10.0.0.1 says 2", "10.0.0.2 says 2", "10.0.0.3 says 2"}},
      {Targeted("10.0.0.2"), {}, {"10.0.0.2 says 1"}},
      {Targeted("10.0.0.2", "{7A1C-0002}"), {}, {"10.0.0.2 says 1"}},
      {Targeted("10.0.0.2", "{7A1C-0001}"), {}, {}},
      {Targeted("10.0.0.9"), {}, {}},
      {protocol::BuildRequest(MessageType::TargetedRequestMsg), {}, {}},
      {Targeted("10.0.0.3"), kPoller, {"10.0.0.3 says 1 to 40000"}},
      {kRefresh,
       kPoller,
       {"10.0.0.1 says 2 to 40000", "10.0.0.2 says 2 to 40000", "10.0.0.3 says 2 to 40000"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.request);
    PlantHarness harness(Controllers(3));
    harness.Hear(one.request, one.from);
    EXPECT_EQ(harness.Until(0), one.answers);
    EXPECT_THAT(harness.Until(100'000), IsEmpty());
  }
}

TEST(PlantAnswers, OneBroadcastAnswersAllWaitingRequests) {
  struct Case {
    std::vector<std::string> requests;
    std::string answer;
  };
  const Case cases[] = {
      {{kRefresh, kRefresh, kRefresh}, "10.0.0.1 says 2"},
      {{kRefresh, kFull}, "10.0.0.1 says 1"},
      {{kFull, kRefresh}, "10.0.0.1 says 1"},
  };
  for (const Case& one : cases) {
    PlantHarness harness(Controllers(1), {1000, 1, true});
    for (const std::string& request : one.requests) harness.Hear(request);
    EXPECT_THAT(harness.Until(1000), ElementsAre(one.answer));
    harness.Hear(kRefresh);
    EXPECT_THAT(harness.Until(3000), ElementsAre("10.0.0.1 says 2"))
        << "and the next request is answered again";
  }
}

TEST(PlantAnswers, AStepStopsAtItsLimitAndTheNextContinues) {
  Plant plant(Controllers(10), {});
  plant.Hear(*ReadRequest(kFull), 0, std::nullopt, {});
  Outcome outcome;
  std::vector<std::size_t> portions;
  std::set<std::string> addresses;
  while (plant.NextDue()) {
    plant.Step({}, 4, outcome);
    portions.push_back(outcome.datagrams.size());
    for (const Outgoing& datagram : outcome.datagrams) addresses.insert(Field(datagram.text, "e"));
  }
  EXPECT_THAT(portions, ElementsAre(4U, 4U, 2U));
  EXPECT_EQ(addresses.size(), 10U);
}

TEST(PlantAnswers, AControllerAnswersOnlyItsOwnSpeaker) {
  std::vector<Controller> controllers = Controllers(3);
  for (std::size_t i = 0; i < 3; ++i) controllers[i].speaker = i;
  PlantHarness harness(std::move(controllers), {0, 1, false});
  harness.Hear(kFull, kPoller, 1);
  const auto datagrams = harness.DatagramsUntil(0);
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(Summary(datagrams[0]), "10.0.0.2 says 1 to 40000");
  EXPECT_EQ(datagrams[0].speaker, 1U);
}

TEST(PlantAnswers, APollOnlyPlantBroadcastsNothing) {
  PlantHarness harness(Controllers(2), {0, 1, false});
  harness.plant().AnnounceAll({});
  harness.Script("1 rename 1 other\n2 restart all 1\n5 power-down all\n6 power-up all");
  EXPECT_THAT(harness.Until(10'000), IsEmpty());
  harness.Hear(Targeted("10.0.0.1"), kPoller);
  const auto datagrams = harness.DatagramsUntil(10'000);
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(Field(datagrams[0].text, "1"), "other");
}

TEST(PlantAnswers, BoundsTheNumberOfWaitingAnswers) {
  PlantHarness harness(Controllers(1000), {1000, 1, true});
  for (int i = 0; i < 300; ++i) harness.Hear(kFull, kPoller);
  EXPECT_EQ(harness.DatagramsUntil(1000).size(), 200'000U);
  harness.Hear(kFull, kPoller);
  EXPECT_EQ(harness.DatagramsUntil(2000).size(), 1000U) << "and there is room again";
}

TEST(PlantAnswers, LossDropsTheConfiguredShareOfDatagrams) {
  for (const std::uint32_t percent : {0U, 30U, 100U}) {
    std::vector<Controller> controllers = Controllers(1000);
    for (Controller& controller : controllers) controller.lossPercent = percent;
    PlantHarness harness(std::move(controllers));
    std::size_t said = 0;
    for (int i = 0; i < 10; ++i) {
      harness.Hear(kRefresh);
      said += harness.Until(i).size();
    }
    EXPECT_EQ(said + harness.plant().Lost(), 10'000U);
    EXPECT_NEAR(static_cast<double>(harness.plant().Lost()), percent * 100.0, percent % 100 == 0 ? 0 : 200);
  }
}

}  // namespace
}  // namespace kellanseek::kelsim
