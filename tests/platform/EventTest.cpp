#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kellanseek/com.h>

#include "platform/Event.h"
#include "platform/Thread.h"

namespace kellanseek::test {
namespace {

using platform::Event;
using platform::Thread;
using platform::WaitForAny;
using platform::WaitResult;
using std::chrono::milliseconds;
using Kind = Event::Kind;

constexpr milliseconds kNow{0};
constexpr milliseconds kPatience{20000};

/// The result of a wait: an index, "-" for a time-out, or "failed".
std::string Short(const WaitResult& result) {
  if (result.outcome == WaitResult::Outcome::TimedOut) return "-";
  return result.outcome == WaitResult::Outcome::Signalled ? std::to_string(result.index) : "failed";
}

TEST(EventTest, TheFirstSignalledEventEndsTheWaitAndOnlyAutoResetEventsAreCleared) {
  struct Case {
    std::string kinds;      ///< 'a' or 'm' for each event.
    std::string signalled;  ///< Indexes of the events that are set, in that order.
    std::string ends;       ///< Results of four waits with a time-out of 0.
  };
  for (const Case& c : {Case{"aaa", "", "----"}, Case{"aaa", "21", "12--"}, Case{"aaa", "012", "012-"},
                        Case{"aaa", "222", "2---"}, Case{"mmm", "21", "1111"}, Case{"ama", "210", "0111"},
                        Case{"aam", "20", "0222"}, Case{"maa", "2", "2---"}}) {
    SCOPED_TRACE(c.kinds + " set " + c.signalled);
    std::vector<std::unique_ptr<Event>> events;
    for (const char kind : c.kinds) {
      events.push_back(std::make_unique<Event>(kind == 'a' ? Kind::AutoReset : Kind::ManualReset));
    }
    Event never[] = {Event(Kind::AutoReset), Event(Kind::AutoReset), Event(Kind::AutoReset),
                     Event(Kind::AutoReset), Event(Kind::AutoReset)};
    for (const char position : c.signalled) events[static_cast<std::size_t>(position - '0')]->Set();
    std::string ends;
    while (ends.size() < c.ends.size()) {
      ends += Short(WaitForAny({events[0].get(), events[1].get(), events[2].get(), &never[0], &never[1],
                                &never[2], &never[3], &never[4]},
                               kNow));
    }
    EXPECT_EQ(ends, c.ends);
  }
}

TEST(EventTest, TestsAndResets) {
  for (const Kind kind : {Kind::AutoReset, Kind::ManualReset}) {
    const bool stays = kind == Kind::ManualReset;
    Event event(kind);
    EXPECT_FALSE(event.TryWait());
    event.Set();
    EXPECT_TRUE(event.TryWait());
    EXPECT_EQ(event.TryWait(), stays);
    event.Set();
    event.Wait();
    EXPECT_EQ(event.TryWait(), stays);
    event.Set();
    event.Reset();
    event.Reset();
    EXPECT_FALSE(event.TryWait());
    event.Set();
    EXPECT_EQ(Short(WaitForAny({&event})), "0") << "can be set again after a reset";
  }
}

TEST(EventTest, AWaitLastsUntilItsTimeOut) {
  Event event(Kind::AutoReset);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Short(WaitForAny({&event}, milliseconds(120))), "-");
  const auto lasted = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(lasted, milliseconds(100));
  EXPECT_LT(lasted, kPatience);
  EXPECT_EQ(Short(WaitForAny({&event}, milliseconds(-5))), "-") << "a time that is over already";
}

TEST(EventTest, EachSignalOfAnAutoResetEventEndsOneWait) {
  Event token(Kind::AutoReset);
  Event taken(Kind::AutoReset);
  Event stop(Kind::ManualReset);
  std::atomic<int> count = 0;
  std::atomic<int> stopped = 0;
  std::vector<Thread> threads(8);
  for (Thread& thread : threads) {
    ASSERT_FALSE(thread.Start("Taker", [&] {
      while (WaitForAny({&stop, &token}).Signalled(1)) {
        ++count;
        taken.Set();
      }
      ++stopped;
    }));
  }
  constexpr int kRounds = 3000;
  for (int round = 1; round <= kRounds && !::testing::Test::HasFailure(); ++round) {
    token.Set();
    EXPECT_EQ(Short(WaitForAny({&taken}, kPatience)), "0") << "a signal was lost in round " << round;
    EXPECT_EQ(count, round) << "one signal was taken twice";
  }
  stop.Set();
  for (Thread& thread : threads) thread.Join();
  EXPECT_EQ(count, kRounds);
  EXPECT_EQ(stopped, static_cast<int>(threads.size())) << "a manual-reset event ends all waits";
}

TEST(ThreadTest, RunsItsBodyInTheMultithreadedApartment) {
  Thread thread;
  EXPECT_FALSE(thread.Running());
  EXPECT_FALSE(thread.IsCurrent());
  thread.Join();

  Event go(Kind::ManualReset);
  bool current = false;
  HRESULT sameModel = E_FAIL;
  HRESULT otherModel = E_FAIL;
  ASSERT_FALSE(thread.Start("ANameThatIsTooLong", [&] {
    go.Wait();
    current = thread.IsCurrent();
    sameModel = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    otherModel = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CoUninitialize();
  }));
  EXPECT_TRUE(thread.Running());
  EXPECT_FALSE(thread.IsCurrent());
  go.Set();
  thread.Join();
  EXPECT_FALSE(thread.Running());
  EXPECT_TRUE(current);
  EXPECT_EQ(sameModel, S_FALSE) << "the thread was already a member";
  EXPECT_EQ(otherModel, RPC_E_CHANGED_MODE);

  bool again = false;
  ASSERT_FALSE(thread.Start("Again", [&] { again = true; }));
  thread.Join();
  EXPECT_TRUE(again);
}

TEST(ThreadTest, ReportsAFailingStepUnlessMemoryRanOut) {
  std::vector<std::string> told;
  const auto run = [&](auto step) {
    return platform::RunStep(step, [&](std::string_view what) {
      told.emplace_back(what);
      throw std::runtime_error("cannot tell");
    });
  };
  EXPECT_TRUE(run([] {}));
  EXPECT_FALSE(run([] { throw std::bad_alloc(); }));
  EXPECT_FALSE(run([] { throw std::runtime_error("broken"); }));
  EXPECT_FALSE(run([] { throw 1; }));
  EXPECT_EQ(told, (std::vector<std::string>{"broken", "unknown exception"}));
}

TEST(ThreadTest, TheDestructorWaitsForTheBodyUnlessDetached) {
  Event go(Kind::ManualReset);
  std::atomic<bool> ended = false;
  const auto body = [&] {
    go.Wait();
    ended = true;
  };
  {
    Thread thread;
    ASSERT_FALSE(thread.Start("Moved", body));
    const Thread taker(std::move(thread));
    EXPECT_TRUE(taker.Running());
    go.Set();
  }
  EXPECT_TRUE(ended);

  // The thread may still be in Set() when this wait ends, so it shares ownership of the events.
  const auto detachedGo = std::make_shared<Event>(Kind::ManualReset);
  const auto detachedEnded = std::make_shared<Event>(Kind::ManualReset);
  {
    Thread thread;
    ASSERT_FALSE(thread.Start("Detached", [detachedGo, detachedEnded] {
      detachedGo->Wait();
      detachedEnded->Set();
    }));
    thread.Detach();
    EXPECT_FALSE(thread.Running());
  }
  detachedGo->Set();
  EXPECT_EQ(Short(WaitForAny({detachedEnded.get()}, kPatience)), "0");
}

}  // namespace
}  // namespace kellanseek::test
