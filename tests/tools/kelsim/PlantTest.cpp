#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/kelsim/PlantHarness.h"

namespace kellanseek::kelsim {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr Endpoint kPoller{0x0100000A, 4000};

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
      {Targeted("10.0.0.3"), kPoller, {"10.0.0.3 says 1 to 4000"}},
      {kRefresh, kPoller, {"10.0.0.1 says 2 to 4000", "10.0.0.2 says 2 to 4000", "10.0.0.3 says 2 to 4000"}},
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

}  // namespace
}  // namespace kellanseek::kelsim
