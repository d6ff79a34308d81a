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

/// The discovery engine of one component object: makes the parts, starts and stops their threads. What the
/// parts do is theirs. Init(), Start(0) and Stop(0) are for the thread that makes and releases the component;
/// the rest may be called from any thread.
class CControllerSeek {
 public:
  /// Everything handed in outlives the engine. `owner` is told of changed interfaces on the address-change
  /// thread and answers with RebuildNetwork().
  CControllerSeek(CtrlTable& table, events::EventQueue& events, const CKelLanSeekConfigSettings& settings,
                  InterfaceChangeListener& owner, const EngineEnvironment& environment);
  /// Stops what still runs.
  ~CControllerSeek();

  /// Builds the interface table and starts the socket library. Failures are traced, never reported.
  void Init();

  /// Starts the threads; `restart` 1 only those of the network side. Those that the system has no room for
  /// are traced, and the engine does without.
  void Start(int restart);
  /// Ends the threads; `restart` 1 only those of the network side, leaving the address-change and host-name
  /// threads, the look-ups queued and all controllers as they are. Waits for a reverse look-up that is under
  /// way.
  void Stop(int restart);

  /// True on the receiver thread. A datagram may withdraw a virtual controller of this host, whose object is
  /// then released there, and that may be the last to hold the component; but no thread can wait for its own
  /// end.
  bool OnReceiverThread() const { return receiverId_.load() == std::this_thread::get_id(); }

  /// Stops the network side, builds the interface table anew, withdraws the controllers whose interface has
  /// gone, and starts the network side again. Does nothing once a full Stop has begun. Throws std::bad_alloc
  /// when memory ran out on the way: the network side runs then, but with what could be done, and is to be
  /// rebuilt again.
  void RebuildNetwork();

  /// Adds a controller by address, or finds it: S_OK with a new id, one of the two "already known" success
  /// codes with its id, or E_INVALIDARG for a text that is no dotted IPv4 address.
  HRESULT AddRemoteController(const std::wstring& address, std::uint32_t& lanSeekID);

  /// Has a controller asked at the next tick: S_OK, E_INVALIDARG for an id that was never issued, or
  /// KEL_E_LANSEEKID_NOT_IN_USE.
  HRESULT RefreshForID(std::uint32_t lanSeekID);

  /// Registers a virtual controller of this host: S_OK, E_INVALIDARG, KEL_E_SYSTEMID_PRESENT, or E_UNEXPECTED
  /// when the object cannot be referenced. `vci` may be null.
  HRESULT RegisterVC(std::wstring_view systemPath, std::wstring_view systemID, std::uint32_t processID,
                     RemoteVCPublication remotePublication, const VCInterface* vci);
  /// Withdraws one; with `keep` its record stays, unlisted. S_OK or KEL_E_NOT_FOUND.
  HRESULT RemoveVC(std::wstring_view systemID, bool keep);

  /// Handles the text that a virtual controller hands in as if it were a datagram.
  void ForwardMessage(std::wstring_view message);

 private:
  /// Rests for a moment between bursts of requests, or until the network side stops.
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

  /// Held for a whole rebuild and for the first moment of a full stop, so that the two never mix.
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
