#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/Receiver.h"
#include "network/DiscoverySockets.h"
#include "platform/UdpSocket.h"
#include "tests/support/EngineHarness.h"
#include "tests/support/SimulatedNetwork.h"

namespace kellanseek::test {

/// The network side of a component on a simulated host: the real parts with their real sockets, driven by the
/// simulation instead of threads.
class SimulatedWorkstation {
 public:
  using Time = SimulatedNetwork::Time;
  struct Told {
    Time time{0};
    std::string address;  ///< Of the controller.
    ClientEvent event;
  };

  /// Starts at once, on 255.255.255.0.
  SimulatedWorkstation(SimulatedNetwork& network, std::string_view address);

  /// The addresses of the controllers that clients can list, in the order of their ids.
  std::vector<std::string> Listed();
  /// What was told of one controller, as "new lost new …".
  std::string Story(const std::string& address) const;

  SimulatedNetwork& network;
  SimulatedHost& host;
  std::vector<Told> told;
  std::map<std::string, std::vector<Time>> heard;  ///< When datagrams of an address were handled.

 private:
  void Receive();
  void Note();

  controllers::CtrlTable table_;
  config::CKelLanSeekConfigSettings settings_;
  FakeDebugOutput traces_;
  FakeProcessTable processes_;
  FakeReverseLookup lookup_;
  RecordingEvents events_;
  RecordingDaemon daemon_;
  NoPause pacer_;
  platform::Event stop_{platform::Event::Kind::ManualReset};
  platform::Event rebuildWanted_{platform::Event::Kind::AutoReset};
  network::AddressPolling polling_{settings_};
  network::DiscoverySockets sockets_;
  engine::EngineLogic logic_{
      {table_, settings_, polling_, daemon_, events_, lookup_, processes_, stop_, traces_}};
  engine::Receiver receiver_;
  std::optional<engine::Receiver::ReceiveSet> set_;
  std::unique_ptr<platform::DatagramReceiver> datagrams_;
  std::map<std::uint32_t, std::string> addresses_;
};

/// A well-behaved controller: answers every request by broadcast, so that all workstations hear it.
class SimulatedController {
 public:
  SimulatedController(SimulatedNetwork& network, std::string_view address);

  const std::string& Address() const { return address_; }
  SimulatedHost& Host() { return host_; }
  void Rename(std::string name) { name_ = std::move(name); }
  void SetSilent(bool silent) { silent_ = silent; }
  /// Says something to everybody, asked or not.
  void Say(protocol::MessageType type);

 private:
  void Receive();

  SimulatedHost& host_;
  std::string address_;
  std::string name_;
  bool silent_ = false;
  platform::Event never_{platform::Event::Kind::ManualReset};
  std::unique_ptr<platform::UdpSocket> socket_;
  std::unique_ptr<platform::DatagramReceiver> datagrams_;
};

}  // namespace kellanseek::test
