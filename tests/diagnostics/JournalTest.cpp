#include "diagnostics/Journal.h"

#include <gtest/gtest.h>

#include <string>

#include "diagnostics/Counters.h"

namespace kellanseek::test {
namespace {

using diagnostics::Journal;

TEST(JournalTest, IsBoundedWhateverHappens) {
  Journal journal{[] { return std::uint64_t{4711}; }};
  for (int code = 1; code <= 100; ++code) journal.SendFailed(code, 1);
  journal.SendFailed(64, 2);
  for (std::uint32_t id = 1; id <= 40; ++id) journal.Collided({0, "address", {id, {}, {}, {}, {}}, {}});
  const std::string kept(200, 'a');
  journal.Malformed(kept + "b", 3);
  for (std::uint32_t address = 1; address <= 2000; ++address) journal.LastHeard(address) = address;

  const Journal::Content content = journal.Copy();
  EXPECT_EQ(journal.counters.sendErrors.Value(), 101U);
  EXPECT_EQ(content.sendErrors.size(), 64U);
  EXPECT_EQ(content.sendErrors.at(64).count, 2U) << "a code with an entry counts on";
  EXPECT_EQ(content.sendErrors.at(64).lastDestination, 2U);
  ASSERT_EQ(content.collisions.size(), 32U);
  EXPECT_EQ(content.collisions.front().known.lanSeekID, 9U) << "the oldest go";
  EXPECT_EQ(content.collisions.back().when, 4711U);
  EXPECT_EQ(content.lastMalformed, kept);
  EXPECT_EQ(content.lastHeard.size(), 1025U) << "all others share one";
  EXPECT_EQ(content.lastHeard.at(1024), 1024U);
  EXPECT_EQ(content.lastHeard.at(0), 2000U);
}

TEST(JournalTest, CountersOfSocketsThatAreReopenedAddUp) {
  diagnostics::RestartingCounter dropped;
  for (const std::uint64_t current : {1U, 5U, 7U, 7U, 3U, 4U}) dropped.Update(current);
  EXPECT_EQ(dropped.Value(), 7U + 4U);
}

}  // namespace
}  // namespace kellanseek::test
