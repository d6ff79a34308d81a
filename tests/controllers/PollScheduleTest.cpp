#include "controllers/PollSchedule.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

namespace kellanseek::test {
namespace {

using controllers::PollSchedule;

using Numbers = std::pair<std::int32_t, std::int32_t>;
using State = PollSchedule::State;

PollSchedule Made(const Numbers& numbers) {
  PollSchedule schedule;
  schedule.Arm(numbers.first, numbers.second);
  return schedule;
}

TEST(PollScheduleTest, Transitions) {
  const auto foreign = [](PollSchedule& s) { s.CountForeignRequest(16); };
  const auto asked = [](PollSchedule& s) { s.Asked(16); };
  struct Case {
    const char* what;
    Numbers before;
    std::function<void(PollSchedule&)> act;
    Numbers after;
  };
  const std::vector<Case> cases = {
      {"idle", {5, 2}, [](PollSchedule& s) { s.Idle(); }, {-1, -1}},
      {"next poll", {5, 2}, [](PollSchedule& s) { s.AwaitNextPoll(128); }, {128, -1}},
      {"ask now", {-1, -1}, [](PollSchedule& s) { s.AskNow(4); }, {0, 4}},
      {"restart", {3, 2}, [](PollSchedule& s) { s.Restart(12); }, {12, 2}},
      {"one of several requests", {0, 3}, asked, {16, 2}},
      {"requests without end", {0, -3}, asked, {16, -3}},
      {"foreign request, ours is old", {7, 2}, foreign, {16, 1}},
      {"foreign request, ours has just left", {8, 2}, foreign, {8, 2}},
      {"foreign request, no more to send", {3, 0}, foreign, {3, 0}},
      {"foreign request, idle", {-1, -1}, foreign, {-1, -1}},
      {"foreign request, no timer", {-1, 2}, foreign, {-1, 2}},
  };
  for (const Case& c : cases) {
    PollSchedule schedule = Made(c.before);
    c.act(schedule);
    EXPECT_EQ(Numbers(schedule.TicksLeft(), schedule.RequestsLeft()), c.after) << c.what;
  }
}

TEST(PollScheduleTest, PassAdvancesByOneTick) {
  struct Case {
    Numbers before;
    State state;
    std::int32_t ticksAfter;
  };
  for (const Case& c :
       {Case{{-1, -1}, State::Waiting, -1}, Case{{2, 0}, State::Waiting, 1}, Case{{1, 0}, State::Waiting, 0},
        Case{{0, 0}, State::Lost, 0}, Case{{0, 1}, State::Due, 0}, Case{{0, -1}, State::Due, 0}}) {
    PollSchedule schedule = Made(c.before);
    EXPECT_EQ(schedule.Pass(), c.state) << c.before.first << " " << c.before.second;
    EXPECT_EQ(schedule.TicksLeft(), c.ticksAfter);
    EXPECT_EQ(schedule.RequestsLeft(), c.before.second);
  }
}

}  // namespace
}  // namespace kellanseek::test
