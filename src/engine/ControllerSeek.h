#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/VCDaemon.h"
#include "diagnostics/Journal.h"
#include "diagnostics/QueueLoad.h"
#include "diagnostics/Trace.h"
#include "engine/AddressWatch.h"
#include "engine/EngineEnvironment.h"
#include "engine/EngineLogic.h"
#include "engine/NetworkRun.h"
#include "engine/Receiver.h"
#include "events/EventQueue.h"
#include "network/AddressPolling.h"
#include "network/HostInterfaces.h"
#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

namespace kellanseek::engine {

/// The discovery engine of one component object: creates its parts and starts and stops their threads.
/// Init(), Start() and Stop() are for the thread that creates and releases the component; the other methods
/// are thread-safe.
class CControllerSeek {
 public:
  /// All arguments must outlive the engine. `owner` is notified of changed interfaces on the address-watch
  /// thread and responds with RebuildNetwork().
  CControllerSeek(controllers::CtrlTable& table, events::EventQueue& events,
                  const config::CKelLanSeekConfigSettings& settings, InterfaceChangeListener& owner,
                  diagnostics::Journal& journal, const EngineEnvironment& environment);
  /// Stops the threads that still run.
  ~CControllerSeek();

  /// Builds the interface table and starts the socket library. Failures are only traced.
  void Init();

  /// Starts the threads. A thread that the system refuses is traced, and the engine works without it.
  void Start();
  /// Ends the threads. Waits for a reverse look-up in progress.
  void Stop();

  /// True on the receiver thread. A datagram may withdraw a virtual controller of this host, whose object is
  /// then released there, and that may be the last to hold the component; but no thread can wait for its own
  /// end.
  bool OnReceiverThread() const { return receiver_.OnThisThread(); }

  /// Stops the network side, builds the interface table anew, withdraws the controllers whose interface has
  /// gone, and starts the network side again. Does nothing once Stop() has begun. Throws std::bad_alloc
  /// when memory ran out on the way: the network side runs then with what could be done, if it could be
  /// started, and is to be rebuilt again.
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

  /// How often everybody has been asked and has had the time to answer.
  std::uint32_t CompletedSweeps() const { return logic_.refreshCycle.CompletedSweeps(); }
  /// The interfaces of the present run.
  std::vector<network::InterfaceEntry> Interfaces();
  /// The state of the parts that a report tells of.
  bool PollsByAddress() const { return polling_.Enabled(); }
  diagnostics::QueueLoad HostNameQueue() const { return logic_.hostNames.Load(); }
  diagnostics::QueueLoad DaemonQueue() const { return daemon_.Load(); }
  std::size_t PublishedControllers() const { return daemon_.Published(); }

  /// Handles a text from a virtual controller like a datagram.
  void ForwardMessage(std::wstring_view message);

 private:
  void BeginRun() REQUIRES(runLock_);
  void ReplaceInterfaces();

  controllers::CtrlTable& table_;
  const config::CKelLanSeekConfigSettings& settings_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
  platform::UdpNetwork& udp_;

  /// Ends the threads that outlive a run.
  platform::Event stopEngine_{platform::Event::Kind::ManualReset};
  platform::Event rebuildWanted_{platform::Event::Kind::AutoReset};

  network::AddressPolling polling_;
  network::HostInterfaces host_;
  daemon::CrVCDaemon daemon_;
  EngineLogic logic_;
  Receiver receiver_;
  AddressWatch addressWatch_;
  const NetworkRun::Parts runParts_;
  bool socketLibraryStarted_ = false;

  /// Held for a whole rebuild, and by a stop until the run has ended, so that the two never mix.
  platform::Mutex runLock_{platform::LockOrder::Run};
  bool stopping_ GUARDED_BY(runLock_) = false;
  std::unique_ptr<NetworkRun> run_ GUARDED_BY(runLock_);

  platform::Thread hostNameThread_;
  platform::Thread addressThread_;
};

}  // namespace kellanseek::engine
