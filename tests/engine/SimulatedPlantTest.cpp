#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "protocol/MessageWriter.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::test {
namespace {

using engine::MsgSource;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::UnorderedElementsAreArray;
using Texts = std::vector<std::string>;
using Time = std::chrono::microseconds;

/// The default times, as they come out of whole ticks.
constexpr milliseconds kTick{250};
constexpr Time kRefreshPeriod = 241 * kTick;  ///< Of a workstation that is alone.
constexpr Time kPatience = 67 * kTick;        ///< From an unanswered request to the loss: three more go out.

/// Hosts that hear each other's broadcasts, in virtual time and on one thread.
class Network {
 public:
  /// Conditions for datagrams between hosts. Jitter also reorders them.
  struct Weather {
    double loss = 0;
    double duplicates = 0;
    Time delay{200};
    Time jitter{0};
  };
  struct Datagram {
    std::string source;
    bool request = false;
    std::string text;
  };
  using Ear = std::function<void(const Datagram&)>;

  explicit Network(std::uint32_t seed) : random_(seed) {}

  void Join(const std::string& address, Ear ear) { hosts_[address].hear = std::move(ear); }
  void Broadcast(const Datagram& datagram) {
    sent.emplace_back(now_, datagram.text);
    const bool apart = hosts_.at(datagram.source).apart;
    for (auto& [address, host] : hosts_) {
      if (address == datagram.source || host.apart != apart) continue;
      for (int copies = Happens(weather.duplicates) ? 2 : 1; copies > 0; --copies) {
        if (Happens(weather.loss)) continue;
        const Time jitter(std::uniform_int_distribution<Time::rep>(0, weather.jitter.count())(random_));
        actions_.emplace(now_ + weather.delay + jitter, [&ear = host.hear, datagram] { ear(datagram); });
      }
    }
  }
  /// CutOff() separates these hosts from all others until Heal().
  void CutOff(const Texts& addresses) {
    for (const std::string& address : addresses) hosts_.at(address).apart = true;
  }
  void Heal() {
    for (auto& [address, host] : hosts_) host.apart = false;
  }

  Time Now() const { return now_; }
  /// Runs an action once every period, first after one period.
  void Every(Time period, const std::function<void()>& action) {
    actions_.emplace(now_ + period, [this, period, action] {
      Every(period, action);
      action();
    });
  }
  void RunFor(Time duration) {
    const Time end = now_ + duration;
    while (!actions_.empty() && actions_.begin()->first <= end) {
      const auto next = actions_.extract(actions_.begin());
      now_ = next.key();
      next.mapped()();
    }
    now_ = end;
  }

  Weather weather;
  std::vector<std::pair<Time, std::string>> sent;

 private:
  struct Host {
    Ear hear;
    bool apart = false;
  };

  bool Happens(double probability) { return std::bernoulli_distribution(probability)(random_); }

  std::mt19937 random_;
  Time now_{0};
  std::multimap<Time, std::function<void()>> actions_;  ///< Those of one time in the order of their adding.
  std::map<std::string, Host> hosts_;
};

/// The engine's logic on a host of the network.
class Workstation : public EngineHarness {
 public:
  Workstation(Network& network, const std::string& own) : address(own), network_(network) {
    for (const char* const other : {"192.168.1.5", "10.0.0.5"}) addresses.RemoveAddress(other);
    addresses.AddAddress(1, own, "255.255.255.0");
    RebuildInterfaces();
    network.Join(own, [this](const Network::Datagram& heard) {
      Receive(heard.text, heard.source,
              heard.request ? MsgSource::FromRequestSocket : MsgSource::FromResponseSocket, kFirstInterface);
      Note();
    });
    BeginRun();
    Note();
    network.Every(kTick, [this] {
      if (asleep) return;
      Tick();
      Note();
    });
  }

  /// The addresses of the controllers that clients can list.
  Texts Listed() {
    Texts listed;
    for (const auto& record : All())
      if (record.published && record.Available()) listed.push_back(Narrow(record.ctrlAddress));
    return listed;
  }

  const std::string address;
  bool asleep = false;                       ///< No tick comes.
  std::map<std::string, std::string> story;  ///< What was told of an address: "new lost new …".

 private:
  void Note() {
    const std::string prefix = "broadcast 0 ";
    for (const std::string& request : sender.Take()) {
      ASSERT_TRUE(request.starts_with(prefix)) << request;
      network_.Broadcast({address, true, request.substr(prefix.size())});
    }
    for (const ClientEvent& event : events.Take()) {
      if (event.reason == CtrlNew) addressOf_[event.lanSeekID] = Narrow(Get(event.lanSeekID).ctrlAddress);
      story[addressOf_[event.lanSeekID]] += event.reason == CtrlNew              ? "new "
                                            : event.reason == CtrlLostConnection ? "lost "
                                                                                 : "other ";
    }
  }

  Network& network_;
  std::map<std::uint32_t, std::string> addressOf_;
};

/// Twenty well-behaved controllers, by their addresses: each answers every request by broadcast, so that all
/// workstations hear it.
Texts JoinControllers(Network& network) {
  Texts all;
  for (int i = 100; i < 120; ++i) {
    const std::string own = all.emplace_back("192.168.1." + std::to_string(i));
    network.Join(own, [&network, own](const Network::Datagram& heard) {
      const auto say = [&](std::uint32_t type) {
        const std::string fields = "4:{" + own + "};9:mac of " + own + ";";
        network.Broadcast({own, false, EngineHarness::Datagram(type, fields)});
      };
      if (heard.text == kFull || heard.text == protocol::BuildTargetedRequest(own, "")) say(1);
      if (heard.text == kRefresh) say(2);
    });
  }
  return all;
}

TEST(SimulatedPlantTest, WorkstationsShareTheirRequestsAndSurviveAPartition) {
  Network network(1);
  const auto requests = [&](std::string_view text, Time from = Time(0)) {
    return std::count_if(network.sent.begin(), network.sent.end(), [&](const auto& each) {
      return each.first >= from && each.second.starts_with(text);
    });
  };
  const Texts all = JoinControllers(network);
  std::vector<std::unique_ptr<Workstation>> stations;
  for (const char* const address : {"192.168.1.1", "192.168.1.2", "192.168.1.3"}) {
    stations.push_back(std::make_unique<Workstation>(network, address));
    // Their ticks fall between each other's, as those of real ones do.
    network.RunFor(seconds(5) + milliseconds(80));
  }
  const Time begin = network.Now();
  network.RunFor(hours(1));
  // Whoever is the first to ask again asks for all; nobody waits longer than one who is alone.
  const auto alone = static_cast<std::ptrdiff_t>(hours(1) / kRefreshPeriod);
  EXPECT_GE(requests(kRefresh, begin), alone);
  EXPECT_LE(requests(kRefresh, begin), alone + 2);
  EXPECT_EQ(requests(kFull), 3) << "one each, at its start";
  EXPECT_EQ(requests("Lanseek;1d;6;"), 0) << "everybody answered";

  Texts sides[2];
  for (std::size_t i = 0; i < all.size(); ++i) sides[i % 2].push_back(all[i]);
  const auto expect = [&](const char* others, bool whole) {
    for (std::size_t i = 0; i < stations.size(); ++i) {
      const std::size_t side = i == 0 ? 0 : 1;
      EXPECT_THAT(stations[i]->Listed(), UnorderedElementsAreArray(whole ? all : sides[side]));
      for (const std::string& address : sides[side]) EXPECT_EQ(stations[i]->story[address], "new ");
      for (const std::string& address : sides[1 - side]) EXPECT_EQ(stations[i]->story[address], others);
    }
  };
  expect("new ", true);
  network.weather = {0.0, 0.5, milliseconds(1), milliseconds(900)};  // Duplicates, out of order.
  network.CutOff(sides[1]);
  network.CutOff({stations[1]->address, stations[2]->address});
  network.RunFor(kRefreshPeriod + kPatience + seconds(5));
  expect("new lost ", false);
  network.Heal();
  // At the latest the next refresh finds them; a presence answer alone costs one more request.
  network.RunFor(kRefreshPeriod + seconds(10));
  expect("new lost new ", true);
}

TEST(SimulatedPlantTest, ControllersSurviveBadWeatherAndASleepingHost) {
  constexpr Network::Weather kLossy{.loss = 0.05};
  constexpr Network::Weather kStorm{
      .loss = 0.3, .duplicates = 0.3, .delay = milliseconds(50), .jitter = milliseconds(200)};
  for (const std::uint32_t seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    Network network(seed);
    const Texts all = JoinControllers(network);
    Workstation station(network, "192.168.1.1");
    network.RunFor(seconds(5));

    network.weather = kLossy;
    network.RunFor(std::chrono::minutes(10));
    for (const std::string& address : all) EXPECT_EQ(station.story[address], "new ") << "it flapped";

    // What did not listen has nobody to miss: neither while it sleeps nor for that time afterwards.
    network.weather = {};
    station.asleep = true;
    network.CutOff({station.address});
    network.RunFor(hours(1));
    station.asleep = false;
    network.Heal();
    network.RunFor(kRefreshPeriod + seconds(10));
    for (const std::string& address : all)
      EXPECT_EQ(station.story[address], "new ") << "it was lost in sleep";

    network.weather = kStorm;
    network.RunFor(hours(1));
    network.weather = {};
    network.RunFor(kRefreshPeriod + seconds(10));
    EXPECT_THAT(station.Listed(), UnorderedElementsAreArray(all));
    for (const std::string& address : all) {
      std::string comings = station.story[address];
      while (comings.starts_with("new lost ")) comings.erase(0, 9);
      EXPECT_EQ(comings, "new ") << "who was lost comes back, and once";
    }
  }
}

}  // namespace
}  // namespace kellanseek::test
