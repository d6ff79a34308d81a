#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/Receiver.h"
#include "network/DiscoverySockets.h"
#include "protocol/MessageWriter.h"
#include "tests/support/EngineHarness.h"
#include "tests/support/SimulatedNetwork.h"

namespace kellanseek::test {
namespace {

using platform::Received;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using ::testing::UnorderedElementsAreArray;
using Outcome = Received::Outcome;
using Texts = std::vector<std::string>;
using Time = SimulatedNetwork::Time;

constexpr const char* kMask = "255.255.255.0";
constexpr const char* kFull = "Lanseek;0d;5;";
constexpr const char* kRefresh = "Lanseek;0d;7;";

/// The default times, as they come out of whole ticks.
constexpr milliseconds kTick{250};
constexpr Time kRefreshPeriod = 241 * kTick;  ///< Of a workstation that is alone.
constexpr Time kPatience = 67 * kTick;        ///< From an unanswered request to the loss: three more go out.

std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

/// The engine's logic with its receiver and its sockets on a simulated host, driven by the simulation instead
/// of threads. Each of its addresses is in a broadcast domain of its own.
class Workstation : public EngineHarness {
 public:
  Workstation(SimulatedNetwork& network, const Texts& own) : computer(network.AddHost()) {
    for (const char* const address : {"192.168.1.5", "10.0.0.5"}) addresses.RemoveAddress(address);
    for (int domain = 0; const std::string& address : own) {
      computer.Attach(domain++, address, kMask);
      addresses.AddAddress(1, address, kMask);
    }
    RebuildInterfaces();
    auto usable = interfaces.Entries();
    sockets_.CreateSockets(usable);
    set_.emplace(sockets_, journal);
    datagrams_ = computer.CreateReceiver(set_->sockets, protocol::kMaxDatagram);
    computer.OnArrival([this] { Receive(); });
    refresh.BeginRun({sockets_, pacer});
    network.Every(kTick, [this] {
      if (asleep) return;
      refresh.Tick({sockets_, pacer});
      Note();
    });
  }

  void Handle(const Received& received) { receiver_.Handle(received, *set_); }
  /// The addresses of the controllers that clients can list.
  Texts Listed() {
    Texts listed;
    for (const auto& record : All())
      if (record.published && record.Available()) listed.push_back(Narrow(record.ctrlAddress));
    return listed;
  }

  SimulatedHost& computer;
  bool asleep = false;                       ///< No tick comes.
  std::map<std::string, std::string> story;  ///< What was told of an address: "new lost new …".

 private:
  void Receive() {
    for (;;) {
      const Received received = datagrams_->ReceiveOne(stopEngine, milliseconds(0));
      if (received.outcome == Outcome::Nothing) return;
      Handle(received);
      Note();
    }
  }
  void Note() {
    for (const ClientEvent& event : events.Take()) {
      if (event.reason == CtrlNew) addressOf_[event.lanSeekID] = Narrow(Get(event.lanSeekID).ctrlAddress);
      story[addressOf_[event.lanSeekID]] += event.reason == CtrlNew              ? "new "
                                            : event.reason == CtrlLostConnection ? "lost "
                                                                                 : "other ";
    }
  }

  platform::Event rebuildWanted_{platform::Event::Kind::ManualReset};
  network::DiscoverySockets sockets_{computer, settings, polling, journal, traces};
  engine::Receiver receiver_{{computer, dispatcher, engineLock, rebuildWanted_, journal, traces}};
  std::optional<engine::Receiver::ReceiveSet> set_;
  std::unique_ptr<platform::DatagramReceiver> datagrams_;
  std::map<std::uint32_t, std::string> addressOf_;
};

/// A well-behaved controller: answers every request by broadcast, so that all workstations hear it.
class Controller {
 public:
  Controller(SimulatedNetwork& network, std::string own)
      : computer(network.AddHost()), address(std::move(own)) {
    computer.Attach(0, address, kMask);
    platform::SocketError error = 0;
    socket_ = computer.CreateSocket(error);
    socket_->SetBroadcast();
    socket_->Bind(platform::ParseIpv4(address), platform::ParseIpv4(kMask),
                  settings_.Port(settings_.RequestPort));
    datagrams_ = computer.CreateReceiver({socket_.get()}, protocol::kMaxDatagram);
    computer.OnArrival([this] { Receive(); });
  }

  SimulatedHost& computer;
  const std::string address;

 private:
  void Receive() {
    for (;;) {
      const Received received = datagrams_->ReceiveOne(never_, milliseconds(0));
      if (received.outcome != Outcome::Datagram) return;
      const std::string_view text(received.text.data(), received.text.size());
      if (text == kFull || text == protocol::BuildTargetedRequest(address, "")) Say(1);
      if (text == kRefresh) Say(2);
    }
  }
  void Say(std::uint32_t type) {
    const platform::Ipv4 everybody = platform::ParseIpv4(address) | ~platform::ParseIpv4(kMask);
    socket_->SendTo(EngineHarness::Datagram(type, "4:{" + address + "};9:mac of " + address + ";"), everybody,
                    settings_.Port(settings_.ResponsePort));
  }

  const config::CKelLanSeekConfigSettings settings_;
  platform::Event never_{platform::Event::Kind::ManualReset};
  std::unique_ptr<platform::UdpSocket> socket_;
  std::unique_ptr<platform::DatagramReceiver> datagrams_;
};

TEST(SimulatedPlantTest, WorkstationsShareTheirRequestsAndSurviveAPartition) {
  SimulatedNetwork network;
  const auto requests = [&](std::string_view text, Time from = Time(0)) {
    return std::count_if(network.sent.begin(), network.sent.end(),
                         [&](const auto& each) { return each.time >= from && each.text.starts_with(text); });
  };
  std::vector<std::unique_ptr<Controller>> controllers;
  for (int i = 100; i < 120; ++i)
    controllers.push_back(std::make_unique<Controller>(network, "192.168.1." + std::to_string(i)));
  std::vector<std::unique_ptr<Workstation>> stations;
  for (const char* const address : {"192.168.1.1", "192.168.1.2", "192.168.1.3"}) {
    stations.push_back(std::make_unique<Workstation>(network, Texts{address}));
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
  EXPECT_EQ(requests("Lanseek;1"), 0) << "everybody answered";

  std::vector<SimulatedHost*> distant = {&stations[1]->computer, &stations[2]->computer};
  Texts all, sides[2];
  for (std::size_t i = 0; i < controllers.size(); ++i) {
    all.push_back(controllers[i]->address);
    sides[i % 2].push_back(controllers[i]->address);
    if (i % 2 == 1) distant.push_back(&controllers[i]->computer);
  }
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
  network.CutOff(distant);
  network.RunFor(kRefreshPeriod + kPatience + seconds(5));
  expect("new lost ", false);
  network.Heal();
  // At the latest the next refresh finds them; a presence answer alone costs one more request.
  network.RunFor(kRefreshPeriod + seconds(10));
  expect("new lost new ", true);
}

TEST(SimulatedPlantTest, ControllersSurviveBadWeatherAndASleepingHost) {
  constexpr SimulatedNetwork::Weather kLossy{.loss = 0.05};
  constexpr SimulatedNetwork::Weather kStorm{
      .loss = 0.3, .duplicates = 0.3, .delay = milliseconds(50), .jitter = milliseconds(200)};
  for (const std::uint32_t seed : {1U, 2U, 3U}) {
    SimulatedNetwork network(seed);
    std::vector<std::unique_ptr<Controller>> controllers;
    Texts all;
    for (int i = 100; i < 120; ++i) {
      all.push_back("192.168.1." + std::to_string(i));
      controllers.push_back(std::make_unique<Controller>(network, all.back()));
    }
    Workstation station(network, Texts{"192.168.1.1"});
    network.RunFor(seconds(5));

    network.weather = kLossy;
    network.RunFor(std::chrono::minutes(10));
    for (const std::string& address : all) EXPECT_EQ(station.story[address], "new ") << "it flapped";

    // What did not listen has nobody to miss: neither while it sleeps nor for that time afterwards.
    network.weather = {};
    station.asleep = true;
    network.CutOff({&station.computer});
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

TEST(ReceiverTest, TakesADatagramOnceAndFromItsOwnNetwork) {
  SimulatedNetwork network;
  Workstation station(network, Texts{"192.168.1.1", "10.0.0.1"});
  const std::wstring unknown =
      L"LanSeek: Message from static handling (192.168.1.1) does not match any known controller!";
  struct Case {
    const char* what;
    Received received;
    const char* source;
    std::optional<controllers::InterfaceIndex> interfaceIndex;  ///< Where the controller is then found.
    std::wstring trace = {};
  };
  const auto on = [](std::size_t socket) { return Received{.outcome = Outcome::Datagram, .socket = socket}; };
  const Received nothing;
  const Received strange{.outcome = Outcome::StrangeSocket};
  const Received failed{.outcome = Outcome::ReadError, .socket = 2, .error = 7};
  const std::wstring unexpected =
      L"LanSeek: Strange socket receive error. Select returned unexpected socket.";
  for (const Case& c : {
           Case{"own network", on(1), "192.168.1.20", kFirstInterface},
           Case{"own network, the second", on(3), "10.0.0.20", kSecondInterface},
           Case{"the other network", on(1), "10.0.0.20", {}},
           Case{"through a router", on(3), "172.16.0.9", kSecondInterface},
           Case{"an echo", on(1), "192.168.1.1", {}},
           Case{"an echo on the other network", on(3), "192.168.1.1", {}},
           Case{"a poll of this host", on(4), "192.168.1.1", {}, unknown},
           Case{"nothing", nothing, "192.168.1.20", {}},
           Case{"a socket of nobody", strange, "192.168.1.20", {}, unexpected},
           Case{"a socket too many", on(5), "192.168.1.20", {}, unexpected},
           Case{"a failed read",
                failed,
                "192.168.1.20",
                {},
                L"LanSeek: Failed to read data. InterfaceIdx = 1 Error = 7"},
           Case{"no address",
                on(1),
                nullptr,
                {},
                L"LanSeek receive: IP-address is not available. Skip message"},
       }) {
    SCOPED_TRACE(c.what);
    const std::size_t before = station.traces.Messages().size();
    std::string text = EngineHarness::Datagram(1, "4:sys;9:mac;");
    Received received = c.received;
    text.push_back('\0');
    received.text = {text.data(), text.size() - 1};
    received.sourceIsIpv4 = c.source != nullptr;
    received.source = c.source != nullptr ? platform::ParseIpv4(c.source) : 0;
    station.Handle(received);
    const auto traces = station.traces.Messages();
    EXPECT_EQ(std::vector(traces.begin() + static_cast<std::ptrdiff_t>(before), traces.end()),
              c.trace.empty() ? std::vector<std::wstring>() : std::vector{c.trace});
    const auto records = station.All();
    ASSERT_EQ(records.size(), c.interfaceIndex ? 1U : 0U);
    if (c.interfaceIndex) {
      EXPECT_EQ(records[0].heardOnInterface, *c.interfaceIndex);
      station.Answer(4, "", c.source, *c.interfaceIndex);
    }
  }
}

}  // namespace
}  // namespace kellanseek::test
