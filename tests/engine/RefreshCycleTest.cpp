#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "engine/TickSleep.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

using Sent = std::vector<std::string>;

constexpr const char* kIdentity = "4:sys-1;9:00-11;";

class RefreshCycleTest : public ::testing::Test, protected EngineHarness {
 protected:
  /// The ticks, counted from the next one as 1, at which something was sent, and what.
  std::vector<std::pair<int, std::string>> SentDuring(int ticks) {
    std::vector<std::pair<int, std::string>> log;
    for (int tick = 1; tick <= ticks; ++tick) {
      Tick();
      for (std::string& datagram : sender.Take()) log.emplace_back(tick, std::move(datagram));
    }
    return log;
  }

  std::uint32_t AddStatic(const wchar_t* address, bool available = false) {
    CtrlInfo record;
    record.ctrlAddress = address;
    record.ctrlStatus = available ? CtrlAvailable : CtrlUnavailable;
    record.published = available;
    return Add(record);
  }
};

TEST_F(RefreshCycleTest, OneOfEndlessRequestsMayTakeItsTimeFromWhenItLeaves) {
  settings.NonLocalRetries = -1;
  const std::uint32_t id = AddStatic(L"10.9.9.2");
  NonLocalAnswer(2, kIdentity, "10.9.9.2");
  sender.room = 0;
  Tick(50);
  sender.room = 1;
  Tick();
  EXPECT_EQ(Get(id).Schedule().RequestsLeft(), -1);
  EXPECT_EQ(Get(id).Schedule().TicksLeft(), 12);

  // One that is answered before it leaves needs no answer any more.
  settings.NonLocalRetries = 0;
  const std::uint32_t answered = AddStatic(L"10.9.9.3", true);
  const auto answer = [&] { NonLocalAnswer(1, "4:sys-2;9:00-12;", "10.9.9.3"); };
  answer();
  sender.room = 0;
  Tick(150);
  answer();
  sender.room = 2;
  Tick();
  EXPECT_EQ(Get(answered).Schedule().TicksLeft(), 128);
}

TEST_F(RefreshCycleTest, BlockedRequestsQueueBehindAvailableControllers) {
  const auto to = [](int host) { return "to 10.9.9." + std::to_string(host) + " Lanseek;0d;5;"; };
  for (int host = 1; host <= 4; ++host) AddStatic((L"10.9.9." + std::to_wstring(host)).c_str());
  const std::uint32_t present = AddStatic(L"10.9.9.5", true);
  sender.room = 2;
  BeginRun();
  EXPECT_EQ(sender.Take(), (Sent{"broadcast 0 Lanseek;0d;5;", "broadcast 1 Lanseek;0d;5;", to(5), to(1)}));
  EXPECT_EQ(pacer.pauses, 1) << "one chance to make room";
  // However long the next request waits, it counts as one, and its time begins when it leaves.
  Tick(200);
  EXPECT_EQ(sender.Take(), Sent{});
  EXPECT_EQ(pacer.pauses, 1 + 200) << "those behind a blocked request get no chance of their own";
  EXPECT_EQ(Get(present).ctrlStatus, CtrlAvailable);
  EXPECT_EQ(Get(present).Schedule().RequestsLeft(), 2);
  sender.room = 2;
  Tick();
  EXPECT_EQ(sender.Take(), (Sent{to(5), to(2)}));
  EXPECT_EQ(Get(present).Schedule().TicksLeft(), 12);
  EXPECT_EQ(Get(12).Schedule().TicksLeft(), 128);
  sender.room = 100;
  Tick();
  EXPECT_EQ(sender.Take(), (Sent{to(3), to(4), to(1)})) << "asked once, in their order";
  EXPECT_EQ(SentDuring(12), (std::vector<std::pair<int, std::string>>{{12, to(5)}}));
  // A new run asks everybody anyway.
  sender.room = 0;
  BeginRun();
  sender.room = 100;
  BeginRun();
  EXPECT_EQ(sender.Take().size(), 2U + 2U + 5U);
}

TEST_F(RefreshCycleTest, RemovedControllersAreNotAskedWhenSendingResumes) {
  sender.room = 0;
  for (int i = 0; i < 200; ++i) {
    std::uint32_t id = 0;
    {
      controllers::CtrlTable::Access access(table);
      ASSERT_EQ(lifecycle.AddRemoteController(access, L"10.0.0.20", id), S_OK);
    }
    Tick();
    Answer(1, kIdentity, "10.0.0.20", kSecondInterface);
    Answer(4, "", "10.0.0.20", kSecondInterface);
  }
  sender.room = 1000;
  Tick();
  EXPECT_EQ(sender.Take(), Sent{});
  EXPECT_EQ(hostNames.Load().highest, 1U) << "a look-up goes with its controller";
}

TEST_F(RefreshCycleTest, ControllersOfTheOwnNetworksAreAskedInBursts) {
  const std::size_t burst = 2U + engine::kNeighbourBurst + 1U;
  for (int host = 0; host < 600; ++host) AddStatic((L"10.0.0." + std::to_wstring(10 + host % 200)).c_str());
  AddStatic(L"10.9.9.1");
  BeginRun();
  const Sent first = sender.Take();
  EXPECT_EQ(first.size(), burst);
  EXPECT_EQ(first.back(), "to 10.9.9.1 Lanseek;0d;5;") << "behind a router there is room";

  std::uint32_t added = 0;
  {
    controllers::CtrlTable::Access access(table);
    ASSERT_EQ(lifecycle.AddRemoteController(access, L"10.0.0.240", added), S_OK);
  }
  const std::string toAdded = "to 10.0.0.240 Lanseek;0d;5;";
  Tick();
  const Sent second = sender.Take();
  EXPECT_EQ(second.size(), engine::kNeighboursPerTick);
  EXPECT_EQ(second.front(), toAdded) << "a client waits for it";

  BeginRun();
  EXPECT_EQ(sender.Take().size(), 2U + 1U) << "the host has its neighbours still";
  Tick(12);
  const Sent rest = sender.Take();
  EXPECT_EQ(rest.size(), 12 * engine::kNeighboursPerTick);
  EXPECT_EQ(std::count(rest.begin(), rest.end(), toAdded), 0) << "asked before, so in its turn";
  Tick(100);
  EXPECT_EQ(sender.Take().back(), toAdded);
  BeginRun();
  EXPECT_EQ(sender.Take().size(), burst);
}

TEST_F(RefreshCycleTest, ClientsReachTheTableWhileAPlantGoesAway) {
  for (int host = 0; host < 5000; ++host) {
    CtrlInfo record;
    record.identificationType = DynamicCtrlDefinition;
    record.ctrlStatus = CtrlAvailable;
    Add(record, 1, 0);
  }
  std::vector<std::size_t> seen;
  pacer.meanwhile = [&] {
    controllers::CtrlTable::Access access(table);
    seen.push_back(access.Size());
  };
  Tick();
  EXPECT_TRUE(seen.empty()) << "counting down takes no time";
  Tick();
  EXPECT_TRUE(All().empty());
  ASSERT_EQ(seen.size(), 9U);
  EXPECT_LT(seen[8], seen[0]);
}

TEST_F(RefreshCycleTest, NothingMoreIsSentOnceTheNetworkStops) {
  for (int host = 1; host <= 99; ++host) AddStatic((L"10.9.9." + std::to_wstring(host)).c_str());
  pacer.goOn = false;
  BeginRun();
  EXPECT_EQ(sender.Take().size(), 2U + 50U) << "a pause is due after each burst";
}

TEST_F(RefreshCycleTest, ACycleOnAnInterfaceThatTheRunDoesNotHaveIsRefused) {
  BeginRun();
  controllers::CtrlTable::Access access(table);
  refresh.StartRefreshCycle(access, controllers::InterfaceIndex{2}, protocol::MessageType::FullRequestMsg);
  EXPECT_EQ(traces.Messages(),
            std::vector<std::wstring>{L"LanSeek: StartRefreshCycle internal error. Bad interface index"});
}

/// What clients, peers and the daemon notice, and what the next ticks depend on.
std::string Taken(EngineHarness& station) {
  std::string state = std::to_string(station.refresh.TicksSoFar()) + " ticks, sweep " +
                      std::to_string(station.refresh.CompletedSweeps()) + ", messages to the daemon " +
                      std::to_string(station.daemon.messages.size());
  for (const std::string& datagram : station.sender.Take()) state += "\n" + datagram;
  for (const ClientEvent& event : station.events.Take())
    state += "\n" + std::to_string(event.lanSeekID) + " " + std::to_string(event.reason);
  for (std::size_t i = 0; i < station.interfaces.Size(); ++i)
    state += "\nnext " + std::to_string(station.RefreshCountdown(controllers::InterfaceIndex(i)));
  for (const CtrlInfo& record : station.All())
    state += "\n" + std::to_string(record.lanSeekID) + " in " +
             std::to_string(record.Schedule().TicksLeft()) + ", requests " +
             std::to_string(record.Schedule().RequestsLeft());
  return state;
}

/// One of nine things that may happen to a station.
void Happen(int what, controllers::InterfaceIndex interfaceIndex, EngineHarness& station) {
  const bool isThere = PlaceOf(interfaceIndex) < station.interfaces.Size();
  if (what < 2 && isThere) {
    station.Receive(EngineHarness::Datagram(5 + static_cast<unsigned>(what), ""), "192.168.1.77",
                    engine::MsgSource::FromRequestSocket, interfaceIndex);
  } else if (what < 4 && isThere) {
    station.Answer(static_cast<unsigned>(what) - 1, kIdentity, "192.168.1.20", interfaceIndex);
  }
  CtrlInfo configured;
  configured.ctrlAddress = L"10.0.0.20";
  // So many that their requests have to be spread.
  for (int i = 0; what == 4 && i < 600; ++i) station.Add(configured, 0);
  controllers::CtrlTable::Access table(station.table);
  std::uint32_t added = 0;
  if (what == 5 && table.First()) station.refresh.RefreshForID(table, table.First()->lanSeekID);
  if (what == 6) station.lifecycle.AddRemoteController(table, L"10.9.9.9", added);
  for (controllers::CtrlTable::Record record = table.First(), next; what > 6 && record; record = next) {
    next = table.After(record);
    if (!record->Dynamic()) table.Remove(record);
  }
}

/// A station that ticks all the time, and one that sleeps as the refresh thread does, until it is woken.
class IdleTicksTest : public ::testing::Test {
 protected:
  using Act = std::function<void(EngineHarness&)>;

  int UpTo(int end) { return static_cast<int>(random_() % static_cast<unsigned>(end)); }
  void Both(const Act& act) { act(awake_), act(asleep_); }
  void Round() {
    asleep_.table.TimersWanted().TryWait();
    const int idle = asleep_.refresh.IdleTicks();
    const bool somethingHappens = UpTo(6) == 0;
    int passed = somethingHappens ? UpTo(idle + 1) : idle;
    awake_.Tick(passed);
    if (somethingHappens) {
      const auto interfaceIndex = UpTo(2) == 0 ? kFirstInterface : kSecondInterface;
      const int what = UpTo(9);
      Both([&](EngineHarness& station) { Happen(what, interfaceIndex, station); });
      if (!asleep_.table.TimersWanted().TryWait()) awake_.Tick(idle - std::exchange(passed, idle));
    }
    asleep_.refresh.SkipTicks(passed);
    Both([](EngineHarness& station) { station.Tick(); });
    slept_ += passed;
  }

  EngineHarness awake_, asleep_;
  int slept_ = 0;

 private:
  std::mt19937 random_{20261126};
};

TEST_F(IdleTicksTest, AStationThatSleepsThroughThemDoesTheSameAsOneThatDoesNot) {
  const std::pair<const char*, Act> hosts[] = {
      {"as usual", [](EngineHarness&) {}},
      {"no own broadcasts", [](EngineHarness& station) { station.settings.RefreshInterval = -1; }},
      {"one poll", [](EngineHarness& station) { station.settings.NonLocalRefreshInterval = -1; }},
      {"no polls", [](EngineHarness& station) { station.settings.NonLocalUpdatesEnabled = 0; }},
      {"no interface",
       [](EngineHarness& station) {
         for (const char* address : {"192.168.1.5", "10.0.0.5"}) station.addresses.RemoveAddress(address);
       }},
  };
  Both([](EngineHarness& station) {
    station.settings.RefreshInterval = 20;
    station.settings.RefreshTimeout = 1;
  });
  for (const auto& [host, change] : hosts) {
    const auto before = std::pair(awake_.settings, slept_);
    Both([&change = change](EngineHarness& station) {
      change(station);
      station.RebuildInterfaces();
      station.BeginRun();
    });
    for (int round = 0; round < 1000 && !HasFailure(); ++round) {
      Round();
      EXPECT_EQ(Taken(asleep_), Taken(awake_)) << host << ", round " << round;
    }
    EXPECT_GT(slept_, before.second + 100) << host;
    Both([&](EngineHarness& station) { station.settings = before.first; });
  }
}

TEST(TickSleepTest, TheNextTickComesWhenItWouldHaveCome) {
  struct {
    int slept, idle, tick, passed, left;
  } const cases[] = {{0, 7, 250, 0, 250},     {249, 7, 250, 0, 1},     {255, 7, 250, 0, 0},
                     {266, 7, 250, 1, 234},   {1016, 7, 250, 4, 234},  {1999, 7, 250, 7, 1},
                     {2100, 7, 250, 7, 0},    {3600000, 7, 250, 7, 0}, {100, 0, 250, 0, 150},
                     {3600000, 0, 250, 0, 0}, {1500, 3, 1000, 1, 500}, {18, 7, 1, 2, 0}};
  for (const auto& each : cases) {
    using std::chrono::milliseconds;
    const auto ended = engine::EndedAfter(milliseconds(each.slept), each.idle, milliseconds(each.tick));
    EXPECT_EQ(std::pair(ended.passed, ended.left.count()), std::pair(each.passed, std::int64_t{each.left}))
        << each.slept << " of " << each.idle;
  }
}

}  // namespace
}  // namespace kellanseek::test
