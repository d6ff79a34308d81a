#include "events/EventItemsDB.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

#include "tests/support/FakeSink.h"

namespace kellanseek::events {
namespace {

using test::FakeSink;

/// lanSeekID, availability, reason, cookie.
using Taken = std::tuple<std::uint32_t, KelCtrlAvailability, LanSeekEventReason, std::uint32_t>;

class EventItemsDBTest : public testing::Test {
 protected:
  std::uint32_t Add(std::uint32_t type = 0) {
    ULONG cookie = 0;
    EXPECT_EQ(database.AddSubscriber(type, FakeSink::Make(), 0, &cookie), S_OK);
    return cookie;
  }

  std::vector<Taken> TakeAll() {
    std::vector<Taken> taken;
    while (const auto event = database.GetNextEvent())
      taken.emplace_back(event->lanSeekID, event->availability, event->reason, event->subscriber->cookie);
    return taken;
  }

  CEventItemsDB database;
};

TEST_F(EventItemsDBTest, ShortLivedControllersAreNotReportedBeyondALongBacklog) {
  const std::uint32_t cookie = Add();
  for (const std::uint32_t known : {11U, 12U}) database.QueueEvent(known, CtrlAvailable, CtrlNew);
  EXPECT_EQ(TakeAll().size(), 2U);
  database.QueueEvent(11, CtrlRemoved, CtrlLostLAN);
  const std::uint32_t last = 13 + 2 * kLongBacklog;
  for (std::uint32_t id = 13; id <= last; ++id) {
    EXPECT_TRUE(database.QueueEvent(id, CtrlAvailable, CtrlNew));
    EXPECT_TRUE(database.QueueEvent(id, CtrlRemoved, CtrlLostRestart));
  }
  database.QueueEvent(last + 1, CtrlAvailable, CtrlNew);
  // Controllers that were announced are withdrawn in any case, even if they returned meanwhile.
  database.QueueEvent(12, CtrlRemoved, CtrlLostLAN);
  database.QueueEvent(11, CtrlAvailable, CtrlNew);
  database.QueueEvent(11, CtrlRemoved, CtrlLostPowerDown);

  const std::vector<Taken> taken = TakeAll();
  ASSERT_EQ(taken.size(), kLongBacklog + 2);
  EXPECT_EQ(taken.front(), Taken(11, CtrlRemoved, CtrlLostPowerDown, cookie));
  EXPECT_EQ(taken[kLongBacklog - 1], Taken(12 + kLongBacklog - 1, CtrlRemoved, CtrlLostRestart, cookie));
  EXPECT_EQ(taken[kLongBacklog], Taken(last + 1, CtrlAvailable, CtrlNew, cookie));
  EXPECT_EQ(taken.back(), Taken(12, CtrlRemoved, CtrlLostLAN, cookie));
}

TEST_F(EventItemsDBTest, ASinkMayCallBackFromItsRelease) {
  const auto addDyingSink = [&](ULONG& cookie) {
    const auto sink = FakeSink::Make();
    sink->OnDestroyed([&] {
      database.QueueEvent(20, CtrlAvailable, CtrlUpdated);
      database.GetNextEvent();
      Add();
    });
    database.AddSubscriber(0, sink, 0, &cookie);
  };
  ULONG byRemoval = 0;
  addDyingSink(byRemoval);
  EXPECT_EQ(database.RemoveSubscriber(byRemoval), S_OK);

  ULONG byEvent = 0;
  addDyingSink(byEvent);
  database.QueueEvent(11, CtrlAvailable, CtrlNew);
  database.RemoveSubscriber(byEvent);
  EXPECT_FALSE(TakeAll().empty());
}

TEST_F(EventItemsDBTest, SignalsOncePerIdlePeriod) {
  EXPECT_FALSE(database.QueueSignal().TryWait());
  database.QueueEvent(11, CtrlAvailable, CtrlNew);
  EXPECT_FALSE(database.QueueSignal().TryWait()) << "no subscriber, nothing queued";
  Add();
  database.QueueEvent(11, CtrlAvailable, CtrlNew);
  database.QueueEvent(12, CtrlAvailable, CtrlNew);
  EXPECT_TRUE(database.QueueSignal().TryWait());
  EXPECT_TRUE(database.GetNextEvent());
  EXPECT_TRUE(database.GetNextEvent());
  database.QueueEvent(13, CtrlAvailable, CtrlNew);
  EXPECT_FALSE(database.QueueSignal().TryWait()) << "the consumer has not found the queue empty yet";
  EXPECT_TRUE(database.GetNextEvent());
  EXPECT_FALSE(database.GetNextEvent());
  database.QueueEvent(14, CtrlAvailable, CtrlNew);
  EXPECT_TRUE(database.QueueSignal().TryWait());
}

/// The same rules, implemented as a plain list searched from the front.
class PlainQueue {
 public:
  void Queue(std::uint32_t id, KelCtrlAvailability availability, LanSeekEventReason reason) {
    for (const std::uint32_t cookie : cookies) {
      const auto same = [&](const Taken& event) {
        return std::get<0>(event) == id && std::get<3>(event) == cookie;
      };
      const auto pending = std::find_if(events.begin(), events.end(), same);
      if (pending == events.end()) {
        events.emplace_back(id, availability, reason, cookie);
        continue;
      }
      const LanSeekEventReason old = std::get<2>(*pending);
      const bool update = availability == CtrlAvailable && reason == CtrlUpdated;
      if (update && (old == CtrlNew || old == CtrlReconnected)) continue;
      *pending = {id, availability, reason, cookie};
    }
  }

  std::vector<std::uint32_t> cookies;
  std::vector<Taken> events;
};

TEST_F(EventItemsDBTest, MatchesAPlainListUnderRandomUse) {
  constexpr KelCtrlAvailability kAvailabilities[] = {CtrlAvailable, CtrlUnavailable, CtrlRemoved};
  constexpr LanSeekEventReason kReasons[] = {CtrlNew, CtrlUpdated, CtrlLostConnection, CtrlReconnected};
  std::mt19937 generator(20240607);
  const auto random = [&] { return static_cast<std::uint32_t>(generator()); };
  PlainQueue plain;
  std::uint32_t newest = 0;
  for (int step = 0; step < 20000; ++step) {
    const std::uint32_t choice = random() % 100;
    if (choice < 3 && plain.cookies.size() < 6) {
      plain.cookies.push_back(newest = Add());
    } else if (choice < 5 && newest != 0) {
      const std::uint32_t cookie = kFirstCookie + random() % (newest - kFirstCookie + 1);
      const bool known = std::erase(plain.cookies, cookie) == 1;
      ASSERT_EQ(database.RemoveSubscriber(cookie), known ? S_OK : E_FAIL);
    } else if (choice < 60) {
      const std::uint32_t id = 11 + random() % 8;
      const auto availability = kAvailabilities[random() % 3];
      const auto reason = kReasons[random() % 4];
      ASSERT_TRUE(database.QueueEvent(id, availability, reason));
      plain.Queue(id, availability, reason);
    } else {
      const auto event = database.GetNextEvent();
      ASSERT_EQ(event.has_value(), !plain.events.empty()) << "step " << step;
      if (plain.events.empty()) continue;
      const Taken taken(event->lanSeekID, event->availability, event->reason, event->subscriber->cookie);
      ASSERT_EQ(taken, plain.events.front()) << "step " << step;
      plain.events.erase(plain.events.begin());
    }
  }
}

}  // namespace
}  // namespace kellanseek::events
