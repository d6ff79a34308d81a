#include "engine/Receiver.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "network/DiscoverySockets.h"
#include "tests/component/InjectedNetwork.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::test {
namespace {

using platform::Received;
using Outcome = Received::Outcome;

class ReceiverTest : public ::testing::Test, protected EngineHarness {
 protected:
  ReceiverTest() {
    auto usable = interfaces.Entries();
    sockets.CreateSockets(usable);
  }

  InjectedNetwork network;
  platform::Event rebuildWanted{platform::Event::Kind::ManualReset};
  network::DiscoverySockets sockets{network, settings, polling, journal, traces};
  engine::Receiver receiver{{network, dispatcher, engineLock, rebuildWanted, journal, traces}};
};

TEST_F(ReceiverTest, TakesADatagramOnceAndFromItsOwnNetwork) {
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
  const std::wstring unknown =
      L"LanSeek: Message from static handling (192.168.1.5) does not match any known controller!";
  const std::wstring unreadable = L"LanSeek: Failed to read data. InterfaceIdx = 1 Error = 7";
  const std::wstring nowhere = L"LanSeek receive: IP-address is not available. Skip message";
  const engine::Receiver::ReceiveSet set(sockets, journal);
  for (const Case& c : {
           Case{"own network", on(1), "192.168.1.20", kFirstInterface},
           Case{"own network, the second", on(3), "10.0.0.20", kSecondInterface},
           Case{"the other network", on(1), "10.0.0.20", {}},
           Case{"through a router", on(3), "172.16.0.9", kSecondInterface},
           Case{"an echo", on(1), "192.168.1.5", {}},
           Case{"an echo on the other network", on(3), "192.168.1.5", {}},
           Case{"a poll of this host", on(4), "192.168.1.5", {}, unknown},
           Case{"nothing", nothing, "192.168.1.20", {}},
           Case{"a socket of nobody", strange, "192.168.1.20", {}, unexpected},
           Case{"a socket too many", on(5), "192.168.1.20", {}, unexpected},
           Case{"a failed read", failed, "192.168.1.20", {}, unreadable},
           Case{"no address", on(1), nullptr, {}, nowhere},
       }) {
    SCOPED_TRACE(c.what);
    const std::size_t before = traces.Messages().size();
    std::string text = Datagram(1, "4:sys;9:mac;");
    Received received = c.received;
    text.push_back('\0');
    received.text = {text.data(), text.size() - 1};
    received.sourceIsIpv4 = c.source != nullptr;
    received.source = c.source != nullptr ? platform::ParseIpv4(c.source) : 0;
    receiver.Handle(received, set);
    const auto messages = traces.Messages();
    EXPECT_EQ(std::vector(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end()),
              c.trace.empty() ? std::vector<std::wstring>() : std::vector{c.trace});
    const auto records = All();
    ASSERT_EQ(records.size(), c.interfaceIndex ? 1U : 0U);
    if (c.interfaceIndex) {
      EXPECT_EQ(records[0].heardOnInterface, *c.interfaceIndex);
      Answer(4, "", c.source, *c.interfaceIndex);
    }
  }

  platform::Event ready(platform::Event::Kind::ManualReset), stop(platform::Event::Kind::ManualReset);
  stop.Set();
  receiver.ReceiverThread(sockets, ready, stop);
  EXPECT_FALSE(receiver.OnThisThread()) << "a later thread may have the same id";
}

}  // namespace
}  // namespace kellanseek::test
