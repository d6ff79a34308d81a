#include "network/DiscoverySockets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "network/HostInterfaces.h"
#include "platform/CodePage.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"

namespace kellanseek::test {
namespace {

using controllers::InterfaceIndex;
using platform::Ipv4;
using platform::SocketError;
using Texts = std::vector<std::wstring>;

constexpr SocketError kError = 77;
constexpr SocketError kExpected = 99;
constexpr std::uint64_t kNow = 4711;

/// A network that records the calls and lets one of them fail.
class ScriptedNetwork : public platform::UdpNetwork {
 public:
  SocketError Startup() override { return 0; }
  void Cleanup() override {}
  std::unique_ptr<platform::UdpSocket> CreateSocket(SocketError& error) override {
    error = Call();
    if (error != 0) return nullptr;
    return std::make_unique<Socket>(*this);
  }
  std::unique_ptr<platform::DatagramReceiver> CreateReceiver(std::vector<platform::UdpSocket*>,
                                                             std::size_t) override {
    return nullptr;
  }
  bool IsExpectedSendError(SocketError error) const override { return error == kExpected; }

  int callThatFails = -1;
  int open = 0;
  SocketError sendError = 0;
  std::vector<std::string> bound;
  std::vector<std::string> sent;

 private:
  class Socket : public platform::UdpSocket {
   public:
    explicit Socket(ScriptedNetwork& network) : network_(network) { ++network_.open; }
    ~Socket() override { --network_.open; }
    SocketError SetReuseAddress() override { return network_.Call(); }
    SocketError SetBroadcast() override { return network_.Call(); }
    SocketError Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) override {
      place_ = platform::FormatIpv4(address) + ":" + std::to_string(port);
      network_.bound.push_back(place_ + " " + platform::FormatIpv4(mask));
      return network_.Call();
    }
    SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
      return Send("", bytes, destination, port);
    }
    SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
      return Send("at once ", bytes, destination, port);
    }
    std::uint64_t DroppedBySystem() const override { return 1; }

   private:
    SocketError Send(const char* how, std::string_view bytes, Ipv4 destination, std::uint16_t port) {
      network_.sent.push_back(how + place_ + " > " + platform::FormatIpv4(destination) + ":" +
                              std::to_string(port) + " " + std::string(bytes));
      return network_.sendError;
    }

    ScriptedNetwork& network_;
    std::string place_;
  };

  SocketError Call() { return callThatFails-- == 0 ? kError : 0; }
};

class DiscoverySocketsTest : public ::testing::Test {
 protected:
  DiscoverySocketsTest() {
    for (const std::string address : {"192.168.1.5", "10.0.0.5"}) {
      const auto index = static_cast<std::uint32_t>(address.size());
      addresses.AddInterface(index, {0, 1, 2, 3, 4, 5});
      addresses.AddAddress(index, address, "255.255.255.0");
    }
    interfaces = network::HostInterfaces(addresses, settings, traces).SetupLanseekInterfaces().Entries();
  }
  void Open() { sockets.CreateSockets(interfaces); }
  Texts Addresses() const {
    Texts texts;
    for (const auto& entry : sockets.Interfaces().Entries()) texts.push_back(entry.addressText);
    return texts;
  }

  config::CKelLanSeekConfigSettings settings;
  FakeDebugOutput traces;
  FakeNetworkAddresses addresses;
  ScriptedNetwork network;
  network::AddressPolling polling{settings};
  std::vector<network::InterfaceEntry> interfaces;
  diagnostics::Journal journal{[] { return kNow; }};
  network::DiscoverySockets sockets{network, settings, polling, journal, traces};
};

class SocketCallTest : public DiscoverySocketsTest, public ::testing::WithParamInterface<int> {};

/// Four calls for each of the two sockets of an interface and three for the non-local socket; in the last
/// case none fails.
INSTANTIATE_TEST_SUITE_P(Each, SocketCallTest, ::testing::Range(0, 20));

TEST_P(SocketCallTest, AFailingCallIsTracedAndCostsOnlyItsInterfaceOrThePolls) {
  const int call = GetParam();
  const Texts both = {L"192.168.1.5", L"10.0.0.5"};
  Texts left = both;
  std::wstring trace;
  std::string refused;
  bool polls = true;
  if (call < 16) {
    const auto failing = static_cast<std::size_t>(call / 8);
    left = {both[1 - failing]};
    const Texts texts = {
        L"LanSeek: Failed to create socket for " + both[failing] + L". Error 77",
        L"LanSeek: Failed to setup socket reuse option for " + both[failing] + L". Error 77",
        L"LanSeek: Failed to setup broadcast option for interface " + both[failing] + L". Error 77",
        L"LanSeek: Failed to bind socket for " + both[failing] + L". Error = 77"};
    trace = texts[static_cast<std::size_t>(call % 4)];
    const std::array<std::string, 4> steps = {"create", "option", "option", "bind"};
    refused = platform::ToNarrow(both[failing]) + (call % 8 < 4 ? ":5512 " : ":5513 ") +
              steps.at(static_cast<std::size_t>(call % 4)) + " 77";
  } else if (call < 19) {
    const Texts texts = {L"LanSeek: Failed to create nonlocal socket: 77",
                         L"LanSeek:Failed to setup reuse addresses option for nonlocal socket. Error 77",
                         L"LanSeek: Sender Failed to bind nonlocal socket. Error = 77"};
    trace = texts[static_cast<std::size_t>(call - 16)];
    polls = call == 17;
    refused = polls ? "" : call == 16 ? "0.0.0.0:0 create 77" : "0.0.0.0:0 bind 77";
  }
  network.callThatFails = call;
  Open();
  EXPECT_EQ(traces.Messages(), trace.empty() ? Texts{} : Texts{trace});
  std::string noted;
  for (const auto& each : journal.Copy().refusedSockets)
    noted += platform::FormatIpv4(each.address) + ":" + std::to_string(each.port) + " " + each.step + " " +
             std::to_string(each.error);
  EXPECT_EQ(noted, refused);
  EXPECT_EQ(Addresses(), left);
  EXPECT_EQ(polling.Enabled(), polls);
  EXPECT_EQ(sockets.NonLocalSocket() != nullptr, polls);
  EXPECT_EQ(network.open, static_cast<int>(2 * left.size()) + (polls ? 1 : 0));
  for (const std::wstring& address : left) {
    for (const char* port : {":5512 255.255.255.0", ":5513 255.255.255.0"}) {
      const std::string place = std::string(address.begin(), address.end()) + port;
      EXPECT_EQ(std::count(network.bound.begin(), network.bound.end(), place), 1) << place;
    }
  }
  sockets.NoteDrops();
  EXPECT_EQ(journal.counters.droppedBySystem.Value(), static_cast<std::uint64_t>(network.open));
  sockets.CloseSockets();
  EXPECT_EQ(network.open, 0);
}

TEST_F(DiscoverySocketsTest, BindsToAnyAddressWithoutOneAndDropsUnreadableInterfaces) {
  interfaces[0].addressText = L"";
  interfaces[1].addressText = L"10.0.0.";
  settings.NonLocalUpdatesEnabled = 0;
  Open();
  EXPECT_EQ(network.bound,
            (std::vector<std::string>{"0.0.0.0:5512 255.255.255.0", "0.0.0.0:5513 255.255.255.0"}));
  EXPECT_EQ(Addresses(), Texts{L""});
  EXPECT_EQ(traces.Messages(), Texts{L"LanSeek: Failed to convert address 10.0.0."});
}

TEST_F(DiscoverySocketsTest, SendsFromTheRightSocketAndTracesFailures) {
  struct Case {
    SocketError error;
    bool left;
    Texts traces;
  };
  const Texts failed = {L"LanSeek: Sender Failed to send data (dynamic request) addr=0xa0000ff. Error=77",
                        L"LanSeek: Sender Failed to send data (static request) addr=0xa090909. Error=77"};
  Open();
  for (const Case& c : {Case{0, true, {}}, Case{kExpected, true, {}}, Case{kError, true, failed},
                        Case{platform::kNoRoom, false, failed}}) {
    SCOPED_TRACE(c.error);
    network.sent.clear();
    network.sendError = c.error == platform::kNoRoom ? 0 : c.error;
    sockets.Broadcast(InterfaceIndex{1}, "all");
    Ipv4 destination = 0;
    EXPECT_EQ(sockets.Answer(InterfaceIndex{1}, "answer", destination), network.sendError);
    EXPECT_EQ(platform::FormatIpv4(destination), "10.0.0.255");
    network.sendError = c.error;
    EXPECT_EQ(sockets.SendToAddress(platform::ParseIpv4("10.9.9.9"), "one"), c.left);
    EXPECT_EQ(traces.Messages(), c.traces);
    EXPECT_EQ(network.sent, (std::vector<std::string>{"10.0.0.5:5513 > 10.0.0.255:5512 all",
                                                      "10.0.0.5:5512 > 10.0.0.255:5513 answer",
                                                      "at once 0.0.0.0:0 > 10.9.9.9:5514 one"}));
  }
  std::string noted;
  for (const auto& [code, each] : journal.Copy().sendErrors) {
    noted += std::to_string(code) + " x" + std::to_string(each.count) + " " +
             platform::FormatIpv4(each.lastDestination) + "; ";
    EXPECT_EQ(each.last, kNow);
  }
  EXPECT_EQ(noted, "77 x3 10.9.9.9; 99 x3 10.9.9.9; ");
  EXPECT_EQ(journal.counters.broadcastRequests.Value(), 4U);
  EXPECT_EQ(journal.counters.answers.Value(), 4U);
  EXPECT_EQ(journal.counters.requestsByAddress.Value(), 3U) << "one found no room";
  sockets.CloseSockets();
  network.sent.clear();
  Ipv4 destination = 0;
  sockets.Broadcast(InterfaceIndex{1}, "all");
  EXPECT_TRUE(sockets.SendToAddress(platform::ParseIpv4("10.9.9.9"), "one"));
  for (const InterfaceIndex each : {InterfaceIndex{1}, InterfaceIndex{2}})
    EXPECT_EQ(sockets.Answer(each, "answer", destination), 0);
  EXPECT_TRUE(network.sent.empty());
}

}  // namespace
}  // namespace kellanseek::test
