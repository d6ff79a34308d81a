#include "engine/Sweeps.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>
#include <vector>

#include "tests/support/EngineHarness.h"
#include "tests/support/FailingAllocation.h"

namespace kellanseek::test {
namespace {

TEST(SweepsTest, ASweepEndsWhenEveryInterfaceAndEveryPolledControllerHadItsTime) {
  engine::Sweeps sweeps;
  const auto completedAfter = [&](int ticks) {
    for (int tick = 0; tick < ticks; ++tick) sweeps.Tick();
    return sweeps.Completed();
  };
  sweeps.BeginRun(2);
  ASSERT_TRUE(sweeps.WantsPolled());
  sweeps.Expect({11, 12}, 3);
  sweeps.Asked(kFirstInterface, 4);
  EXPECT_EQ(completedAfter(10), 0U) << "the second interface has not been asked";
  sweeps.Asked(kSecondInterface, 4);
  EXPECT_EQ(completedAfter(10), 0U) << "nobody has been polled";
  sweeps.Polled(11);
  sweeps.Polled(12);
  EXPECT_EQ(completedAfter(2), 0U);
  EXPECT_EQ(completedAfter(1), 1U) << "the time of the last poll is over";

  EXPECT_TRUE(sweeps.WantsPolled()) << "the next sweep asks anew whom to poll";
  sweeps.Expect({}, 3);
  sweeps.Asked(kFirstInterface, 4);
  sweeps.Asked(kSecondInterface, 2);
  EXPECT_EQ(completedAfter(3), 1U);
  EXPECT_EQ(completedAfter(1), 2U);

  sweeps.Expect({}, 3);
  sweeps.Asked(kFirstInterface, 2);
  sweeps.BeginRun(1);
  sweeps.Expect({}, 3);
  EXPECT_EQ(completedAfter(5), 2U) << "other interfaces have to be asked themselves";
  sweeps.Asked(kFirstInterface, 1);
  EXPECT_EQ(completedAfter(1), 3U);
}

TEST(SweepsTest, ASweepThatHasNoMemoryForWhomToPollAsksAgain) {
  NEEDS_FAILING_ALLOCATIONS();
  engine::Sweeps sweeps;  // Not begun either, as that may have failed for the same reason.
  std::vector<std::uint32_t> polled = {11, 12};
  {
    const FailingAllocation failing(0);
    EXPECT_THROW(sweeps.Expect(std::move(polled), 3), std::bad_alloc);
  }
  sweeps.Tick();
  EXPECT_EQ(sweeps.Completed(), 0U);
  EXPECT_TRUE(sweeps.WantsPolled());
}

TEST(SweepsTest, WithNobodyToAskTheEmptyListIsCompleteOnce) {
  engine::Sweeps sweeps;
  sweeps.BeginRun(0);
  for (int tick = 0; tick < 5; ++tick) {
    sweeps.Expect({}, 3);
    sweeps.Tick();
    EXPECT_EQ(sweeps.Completed(), 1U);
  }
}

/// With the default settings answers may take 16 ticks (broadcast) and 12 ticks (by address).
TEST(SweepsTest, TheEngineCountsAnAddedControllerFromTheNextSweepOnAndForgetsOneThatIsGone) {
  EngineHarness engine;
  controllers::CtrlInfo record;
  record.ctrlAddress = L"10.9.9.9";
  const std::uint32_t silent = engine.Add(record);
  engine.BeginRun();
  engine.Tick(15);
  EXPECT_EQ(engine.refresh.CompletedSweeps(), 0U);
  engine.Tick();
  EXPECT_EQ(engine.refresh.CompletedSweeps(), 1U);

  // The next own broadcast comes after 60 s, and the poll of the silent one every 32 s.
  {
    controllers::CtrlTable::Access table(engine.table);
    table.Remove(table.Find(silent));
  }
  engine.Tick(240);
  EXPECT_EQ(engine.refresh.CompletedSweeps(), 1U);
  engine.Tick(17);
  EXPECT_EQ(engine.refresh.CompletedSweeps(), 2U);

  // One that goes before it could be asked is missed at tick 16.
  EngineHarness full;
  full.sender.room = 0;
  const std::uint32_t unasked = full.Add(record);
  full.BeginRun();
  {
    controllers::CtrlTable::Access table(full.table);
    table.Remove(table.Find(unasked));
  }
  full.Tick(26);
  EXPECT_EQ(full.refresh.CompletedSweeps(), 0U);
  full.Tick();
  EXPECT_EQ(full.refresh.CompletedSweeps(), 1U);
}

}  // namespace
}  // namespace kellanseek::test
