#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "platform/UdpSocket.h"
#include "tests/support/FakeNetworkAddresses.h"

namespace kellanseek::test {

class SimulatedNetwork;
class SimulatedSocket;

/// A host of a simulated network, as seen by its programs.
class SimulatedHost : public platform::UdpNetwork {
 public:
  /// Error codes of its sockets.
  enum Error : platform::SocketError { kNoSuchAddress = 1, kUnreachable };

  SimulatedHost(SimulatedNetwork& network, std::uint8_t number) : network_(network), number_(number) {}

  /// Connects the host to a broadcast domain under an address.
  void Attach(int domain, std::string_view address, std::string_view mask);
  /// Called after each datagram that arrives.
  void OnArrival(std::function<void()> action) { onArrival_ = std::move(action); }

  platform::SocketError Startup() override { return 0; }
  void Cleanup() override {}
  std::unique_ptr<platform::UdpSocket> CreateSocket(platform::SocketError& error) override;
  std::unique_ptr<platform::DatagramReceiver> CreateReceiver(std::vector<platform::UdpSocket*> sockets,
                                                             std::size_t capacity) override;
  bool IsExpectedSendError(platform::SocketError error) const override {
    return error == kNoSuchAddress || error == kUnreachable;
  }

  FakeNetworkAddresses addresses;  ///< The interfaces and addresses of this host.

 private:
  friend SimulatedNetwork;
  friend SimulatedSocket;

  struct Attachment {
    int domain = 0;
    platform::Ipv4 address = 0;
    platform::Ipv4 mask = 0;
    bool IsBroadcast(platform::Ipv4 destination) const {
      return destination == platform::kNoAddress || destination == (address | ~mask);
    }
    bool Contains(platform::Ipv4 other) const { return (other & mask) == (address & mask); }
  };

  SimulatedNetwork& network_;
  const std::uint8_t number_;
  int side_ = 0;  ///< Hosts on different sides of a partition do not receive each other's datagrams.
  std::uint8_t interfaces_ = 0;
  std::uint16_t lastFreePort_ = 49151;
  std::vector<Attachment> attachments_;
  std::vector<SimulatedSocket*> sockets_;
  std::function<void()> onArrival_;
};

/// Several hosts on broadcast domains, in virtual time and on one thread. All random choices derive from one
/// seed, which failures report; the environment variable KELLANSEEK_SEED sets it.
class SimulatedNetwork {
 public:
  using Time = std::chrono::microseconds;

  /// Conditions for datagrams between hosts. Jitter also reorders them.
  struct Weather {
    double loss = 0;
    double duplicates = 0;
    Time delay{200};
    Time jitter{0};
  };
  /// A sent datagram, recorded once for all receivers.
  struct Sent {
    Time time{0};
    platform::Ipv4 source = 0;
    std::uint16_t sourcePort = 0;
    platform::Ipv4 destination = 0;
    std::uint16_t port = 0;
    std::string text;
  };

  explicit SimulatedNetwork(std::uint32_t seed = ChooseSeed());

  SimulatedHost& AddHost();
  /// CutOff() separates these hosts from all others; Heal() ends all separations.
  void CutOff(const std::vector<SimulatedHost*>& hosts);
  void Heal();

  Time Now() const { return now_; }
  /// Runs an action at this time. Actions at the same time run in the order of these calls.
  void At(Time time, std::function<void()> action) {
    actions_.push({time, nextAction_++, std::move(action)});
  }
  /// Runs an action once every period, first after one period.
  void Every(Time period, std::function<void()> action);
  void RunFor(Time duration);

  Weather weather;
  std::vector<Sent> sent;

 private:
  friend SimulatedSocket;

  struct Action {
    Time time;
    std::uint64_t number;
    std::function<void()> run;
    bool operator<(const Action& other) const {
      return time != other.time ? time > other.time : number > other.number;
    }
  };

  static std::uint32_t ChooseSeed();
  void Send(const SimulatedHost& from, const SimulatedHost::Attachment& via, const Sent& datagram);
  static void Arrive(SimulatedHost& host, const SimulatedHost::Attachment& at, const Sent& datagram);

  const ::testing::ScopedTrace seedTrace_;
  std::mt19937 random_;
  Time now_{0};
  std::uint64_t nextAction_ = 0;
  int lastSide_ = 0;
  std::priority_queue<Action> actions_;
  std::vector<std::unique_ptr<SimulatedHost>> hosts_;
};

}  // namespace kellanseek::test
