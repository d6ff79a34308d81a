#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/VCDaemon.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "engine/EngineLogic.h"
#include "engine/Receiver.h"
#include "engine/RequestQueue.h"
#include "network/AddressPolling.h"
#include "network/DiscoverySockets.h"
#include "platform/DebugOutput.h"
#include "platform/Event.h"
#include "platform/Thread.h"
#include "platform/UdpSocket.h"

namespace kellanseek::engine {

/// One run of the network side on the interfaces that the logic has at its start: the sockets, and the
/// threads that receive, refresh and answer. They run from construction to destruction. Other interfaces need
/// another run: destroy this one, give the logic the new interfaces, make the next.
class NetworkRun {
 public:
  /// What the run drives. Everything outlives it.
  struct Parts {
    platform::UdpNetwork& udp;
    controllers::CtrlTable& table;
    const config::CKelLanSeekConfigSettings& settings;
    network::AddressPolling& polling;
    EngineLogic& logic;
    Receiver& receiver;
    daemon::CrVCDaemon& daemon;
    diagnostics::Journal& journal;
    platform::DebugOutput& debugOutput;
  };

  /// Starts the threads. Those that the system has no room for are traced, and the run does without. Throws
  /// std::bad_alloc and what a system without a free event throws; nothing runs then.
  explicit NetworkRun(const Parts& parts);
  /// Stops them, and returns when they have ended and all sockets are closed.
  ~NetworkRun();
  NetworkRun(const NetworkRun&) = delete;
  NetworkRun& operator=(const NetworkRun&) = delete;

 private:
  /// Rests for a moment between bursts of requests, or until the run stops.
  class Pacer : public SendPacer {
   public:
    explicit Pacer(platform::Event& stop) : stop_(stop) {}
    bool Pause() override;

   private:
    platform::Event& stop_;
  };

  struct NotStarted {};
  NetworkRun(const Parts& parts, NotStarted);

  void RefreshThread();
  bool WaitForTick(std::chrono::milliseconds tick);
  void OpenSockets(diagnostics::StepTrace& failed);
  void TryToOpen();

  const Parts parts_;
  const diagnostics::Tracer trace_;
  std::vector<network::InterfaceEntry> usable_;  ///< For the refresh thread; those that are refused leave it.
  const std::size_t wanted_;                     ///< How many there were at first.

  platform::Event socketsReady_{platform::Event::Kind::ManualReset};
  platform::Event stopDaemon_{platform::Event::Kind::ManualReset};
  platform::Event stop_{platform::Event::Kind::ManualReset};
  platform::Event receiverEnded_{platform::Event::Kind::ManualReset};

  network::DiscoverySockets sockets_;  ///< Opened and closed by the refresh thread.
  Pacer pacer_{stop_};

  platform::Thread refreshThread_;
  platform::Thread receiverThread_;
  platform::Thread daemonThread_;
};

}  // namespace kellanseek::engine
