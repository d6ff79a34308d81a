#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/VCDaemon.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "engine/AddressWatch.h"
#include "engine/EngineEnvironment.h"
#include "engine/EngineLogic.h"
#include "engine/Receiver.h"
#include "events/EventQueue.h"
#include "network/AddressPolling.h"
#include "network/DiscoverySockets.h"
#include "network/HostInterfaces.h"
#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

namespace kellanseek::engine {

/// The discovery engine of one component object: creates its parts and starts and stops their threads.
/// Init(), Start(0) and Stop(0) are for the thread that creates and releases the component; the other methods
/// are thread-safe.
class CControllerSeek {
 public:
  /// All arguments must outlive the engine. `owner` is notified of changed interfaces on the address-watch
  /// thread and responds with RebuildNetwork().
  CControllerSeek(CtrlTable& table, events::EventQueue& events, const CKelLanSeekConfigSettings& settings,
                  InterfaceChangeListener& owner, const EngineEnvironment& environment);
  /// Stops the threads that still run.
  ~CControllerSeek();

  /// Builds the interface table and starts the socket library. Failures are only traced.
  void Init();

  /// Starts the threads; with `restart` 1 only those of the network side. A thread that the system refuses is
  /// traced, and the engine works without it.
  void Start(int restart);
  /// Ends the threads; with `restart` 1 only those of the network side, keeping the address-watch and
  /// host-name threads, queued look-ups and all controllers. Waits for a reverse look-up in progress.
  void Stop(int restart);

  /// Whether the caller is the receiver thread. A datagram may withdraw a virtual controller of this host,
  /// whose object is then released on that thread and may hold the last reference to the component; but a
  /// thread cannot wait for its own end.
  bool OnReceiverThread() const { return receiverId_.load() == std::this_thread::get_id(); }

  /// Stops the network side, rebuilds the interface table, withdraws the controllers of interfaces that are
  /// gone, and starts the network side again. Does nothing once a full Stop() has begun. If memory runs out,
  /// throws std::bad_alloc: the network side runs again, but incompletely, and must be rebuilt once more.
  void RebuildNetwork();

  /// Adds a controller by address, or finds it. Returns S_OK with a new id, one of the two "already known"
  /// success codes with its id, or E_INVALIDARG for a text that is not a dotted IPv4 address.
  HRESULT AddRemoteController(const std::wstring& address, std::uint32_t& lanSeekID);

  /// Has a controller asked at the next tick. Returns S_OK, E_INVALIDARG for an id that was never issued, or
  /// KEL_E_LANSEEKID_NOT_IN_USE.
  HRESULT RefreshForID(std::uint32_t lanSeekID);

  /// Registers a virtual controller of this host. Returns S_OK, E_INVALIDARG, KEL_E_SYSTEMID_PRESENT, or
  /// E_UNEXPECTED if its object cannot be referenced. `vci` may be null.
  HRESULT RegisterVC(std::wstring_view systemPath, std::wstring_view systemID, std::uint32_t processID,
                     RemoteVCPublication remotePublication, const VCInterface* vci);
  /// Withdraws a virtual controller; with `keep` its record stays, unlisted. Returns S_OK or KEL_E_NOT_FOUND.
  HRESULT RemoveVC(std::wstring_view systemID, bool keep);

  /// Handles a text from a virtual controller like a datagram.
  void ForwardMessage(std::wstring_view message);

 private:
  /// Pauses for a moment between bursts of requests, or until the network side stops.
  class Pacer : public SendPacer {
   public:
    explicit Pacer(platform::Event& stopNetwork) : stopNetwork_(stopNetwork) {}
    bool Pause() override;

   private:
    platform::Event& stopNetwork_;
  };

  void StartNetwork();
  void StopNetwork(int restart);
  void ReplaceInterfaces();
  std::vector<network::InterfaceEntry> PresentInterfaces();
  void CreateSockets(diagnostics::StepTrace& failed);
  void RefreshThread();

  CtrlTable& table_;
  const CKelLanSeekConfigSettings& settings_;
  diagnostics::Tracer trace_;
  platform::UdpNetwork& udp_;

  platform::Event socketsReady_{platform::Event::Kind::ManualReset};
  platform::Event stopNetwork_{platform::Event::Kind::ManualReset};
  platform::Event receiverEnded_{platform::Event::Kind::ManualReset};
  platform::Event stopEngine_{platform::Event::Kind::AutoReset};
  platform::Event rebuildWanted_{platform::Event::Kind::AutoReset};

  network::AddressPolling polling_;
  network::HostInterfaces host_;
  network::DiscoverySockets sockets_;
  daemon::CrVCDaemon daemon_;
  Pacer pacer_{stopNetwork_};
  EngineLogic logic_;
  Receiver receiver_;
  AddressWatch addressWatch_;

  /// Held during a rebuild and at the start of a full stop, so that the two never overlap.
  platform::Mutex runLock_;
  bool stopping_ GUARDED_BY(runLock_) = false;
  bool socketLibraryStarted_ = false;

  std::atomic<std::thread::id> receiverId_{};

  platform::Thread refreshThread_;
  platform::Thread receiverThread_;
  platform::Thread hostNameThread_;
  platform::Thread addressThread_;
};

}  // namespace kellanseek::engine
