#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "engine/Dispatcher.h"
#include "engine/EngineLock.h"
#include "engine/MsgSource.h"
#include "network/DiscoverySockets.h"
#include "platform/Event.h"
#include "platform/UdpSocket.h"

namespace kellanseek::engine {

/// Receives datagrams one at a time, drops those that do not belong to their socket, and passes the rest to
/// the dispatcher.
class Receiver {
 public:
  struct Parts {
    platform::UdpNetwork& udp;
    const network::DiscoverySockets& sockets;
    Dispatcher& dispatcher;
    EngineLock& engineLock;
    platform::Event& socketsReady;
    platform::Event& stopNetwork;
    platform::Event& rebuildWanted;
    platform::DebugOutput& debugOutput;
  };
  explicit Receiver(const Parts& parts);

  /// The thread's body. Waits for the sockets, then receives until the network side stops.
  void ReceiverThread();

  /// The sockets to receive from, and their meaning.
  struct ReceiveSet {
    std::vector<platform::UdpSocket*> sockets;
    std::vector<MessageOrigin> origins;  ///< In the order of `sockets`.
  };
  ReceiveSet BuildReceiveSet() const;

  /// Handles the result of one step of the platform's receiver.
  void Handle(const platform::Received& received, const ReceiveSet& set);

 private:
  void OnFailedWait(platform::SocketError error);
  /// Pauses for a moment. Returns false if the network side stops.
  bool Rest();
  bool Wanted(const platform::Received& received, const MessageOrigin& origin) const;
  bool FromOwnSubnet(platform::Ipv4 source, const MessageOrigin& origin) const;

  platform::UdpNetwork& udp_;
  const network::DiscoverySockets& sockets_;
  Dispatcher& dispatcher_;
  EngineLock& engineLock_;
  platform::Event& socketsReady_;
  platform::Event& stopNetwork_;
  platform::Event& rebuildWanted_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;
  protocol::Message message_;
  unsigned failedWaits_ = 0;  ///< Consecutive ones, across runs of the network side.
};

}  // namespace kellanseek::engine
