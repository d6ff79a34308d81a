#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "diagnostics/Journal.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "engine/Dispatcher.h"
#include "engine/EngineLock.h"
#include "engine/MsgSource.h"
#include "network/DiscoverySockets.h"
#include "network/InterfaceTable.h"
#include "platform/Event.h"
#include "platform/UdpSocket.h"

namespace kellanseek::engine {

/// Receives datagrams from the sockets of a run one at a time, drops those that do not belong to their
/// socket, and passes the rest to the dispatcher. Outlives the runs; one run at a time uses it.
class Receiver {
 public:
  struct Parts {
    platform::UdpNetwork& udp;
    Dispatcher& dispatcher;
    EngineLock& engineLock;
    platform::Event& rebuildWanted;
    diagnostics::Journal& journal;
    platform::DebugOutput& debugOutput;
  };
  explicit Receiver(const Parts& parts);

  /// The thread body of one run: waits until its sockets are ready, then receives until it is told to stop.
  void ReceiverThread(const network::DiscoverySockets& sockets, platform::Event& socketsReady,
                      platform::Event& stop);
  /// True on the thread that runs this body.
  bool OnThisThread() const { return thread_.load() == std::this_thread::get_id(); }

  /// The sockets to receive from, and their meaning.
  struct ReceiveSet {
    ReceiveSet(const network::DiscoverySockets& from, diagnostics::Journal& journal);

    const network::InterfaceTable& interfaces;
    std::vector<platform::UdpSocket*> sockets;
    std::vector<MessageOrigin> origins;                  ///< In the order of `sockets`.
    std::vector<std::atomic<std::uint64_t>*> lastHeard;  ///< In the order of `sockets`.
    const bool hasNonLocal;
  };

  /// Handles the result of one step of the platform's receiver.
  void Handle(const platform::Received& received, const ReceiveSet& set);

 private:
  void Receive(const network::DiscoverySockets& sockets, platform::Event& stop);
  void OnFailedWait(platform::SocketError error, platform::Event& stop);
  bool Wanted(const platform::Received& received, const MessageOrigin& origin,
              const network::InterfaceTable& interfaces) const;

  platform::UdpNetwork& udp_;
  Dispatcher& dispatcher_;
  EngineLock& engineLock_;
  platform::Event& rebuildWanted_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;
  protocol::Message message_;
  std::atomic<std::thread::id> thread_{};
  unsigned failedWaits_ = 0;  ///< Consecutive ones, across runs of the network side.
};

}  // namespace kellanseek::engine
