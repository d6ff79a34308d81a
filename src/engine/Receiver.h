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

/// Takes datagrams off the sockets one at a time, throws away what must not be seen, and hands the rest to
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

  /// The thread body: waits for the sockets, then receives until the network side is told to stop.
  void ReceiverThread();

  /// Which socket of the receive set is which.
  struct ReceiveSet {
    std::vector<platform::UdpSocket*> sockets;
    std::vector<MessageOrigin> origins;  ///< In the order of `sockets`.
  };
  ReceiveSet BuildReceiveSet() const;

  /// Handles what one step of the platform's receiver gave.
  void Handle(const platform::Received& received, const ReceiveSet& set);

 private:
  void OnFailedWait(platform::SocketError error);
  /// Rests for a moment; false when the network side stops.
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
  unsigned failedWaits_ = 0;  ///< In a row, over runs of the network side.
};

}  // namespace kellanseek::engine
