#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/Journal.h"
#include "diagnostics/Trace.h"
#include "engine/CtrlLifecycle.h"
#include "engine/RequestQueue.h"
#include "engine/RunInterfaces.h"
#include "engine/Sweeps.h"
#include "network/AddressPolling.h"
#include "platform/Process.h"
#include "protocol/Message.h"

namespace kellanseek::engine {

/// Asks controllers for signs of life and withdraws those that stay silent. All times are in ticks, which are
/// calls of Tick(), or passed with SkipTicks(). BeginRun() and all that has to do with ticks are for one
/// thread. Requests are sent after the table lock has been released.
class RefreshCycle {
 public:
  struct Parts {
    controllers::CtrlTable& table;
    RunInterfaces& interfaces;
    const config::CKelLanSeekConfigSettings& settings;
    const network::AddressPolling& polling;
    daemon::RemoteVCPublisher& daemon;
    CtrlLifecycle& lifecycle;
    platform::ProcessTable& processes;
    diagnostics::Journal& journal;
    platform::DebugOutput& debugOutput;
  };
  explicit RefreshCycle(const Parts& parts);

  /// Sends the first requests of a run of the network side.
  void BeginRun(const RequestOutlet& outlet);

  void Tick(const RequestOutlet& outlet);

  /// The number of ticks, from now on, in which nothing but the countdowns to the next broadcasts would
  /// change. The thread may sleep through them, until the table's TimersWanted() at the longest, and then
  /// call SkipTicks() for those that have passed.
  std::int32_t IdleTicks();
  /// Has the effect of so many idle ticks, which passed before anything that was done meanwhile.
  void SkipTicks(std::int32_t ticks);

  /// The number of ticks so far; those that are being slept through count afterwards. Thread-safe.
  std::uint64_t TicksSoFar() const { return ticks_.load(std::memory_order_relaxed); }

  /// Every tick whose number is a multiple of this comes, so that what is looked at now and then can be tied
  /// to it.
  static constexpr std::uint64_t kTicksBetweenLooks = 8;

  /// How often everybody has been asked and has had the time to answer. Thread-safe.
  std::uint32_t CompletedSweeps() const { return sweeps_.Completed(); }

  /// Starts the answer timers of the controllers heard on an interface, because a full or refresh request was
  /// sent there, by this component or by another workstation.
  void StartRefreshCycle(controllers::CtrlTable::Access& table,
                         std::optional<controllers::InterfaceIndex> interfaceIndex,
                         protocol::MessageType type);

  /// Has a listed controller asked at the next tick, on a client's request. Does nothing for a controller
  /// that is already being asked or is unavailable, and for a virtual controller of this host. Returns S_OK,
  /// E_INVALIDARG for an id that was never issued, or KEL_E_LANSEEKID_NOT_IN_USE.
  HRESULT RefreshForID(controllers::CtrlTable::Access& table, std::uint32_t lanSeekID) const;

  /// Configured and added controllers are asked by unicast, all others by broadcast on their interface.
  bool IsPolledByAddress(const controllers::CtrlInfo& record) const {
    return polling_.Enabled() && !record.Dynamic();
  }

 private:
  void BeginSweep();
  void ArmInitialTimeouts();
  void BroadcastOnAll(const RequestOutlet& outlet, protocol::MessageType type);
  void AskConfigured(const RequestOutlet& outlet);
  std::size_t InterfaceCount();
  void InterfacePass(const RequestOutlet& outlet);
  bool InterfaceDue(controllers::InterfaceIndex interfaceIndex);
  /// Advances the timers of all controllers, in portions, so that no client waits for a plant that goes away
  /// as a whole.
  void ControllerPass(SendPacer& pacer);
  /// Returns the last controller of the portion; none when the pass is over.
  std::optional<std::uint32_t> PortionAfter(std::uint32_t lanSeekID);
  void SweepPass();
  void ExpectPolled(controllers::CtrlTable::Access& table);
  /// Asks, or withdraws, a controller whose time has come.
  void Act(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record,
           controllers::PollSchedule::State state);
  void CheckLocalVC(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record);
  void AskByAddress(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record);
  void AddByAddress(controllers::CtrlTable::Access& table, const controllers::CtrlInfo& record,
                    std::string_view datagram);
  /// Sends the collected requests. For a request that could not be sent at once, the time to answer starts
  /// when it is sent.
  void SendRequests(const RequestOutlet& outlet);
  void AskByBroadcast(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record found);

  controllers::CtrlTable& table_;
  RunInterfaces& interfaces_;
  const config::CKelLanSeekConfigSettings& settings_;
  const network::AddressPolling& polling_;
  daemon::RemoteVCPublisher& daemon_;
  CtrlLifecycle& lifecycle_;
  platform::ProcessTable& processes_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;

  const std::string fullRequest_;
  const std::string refreshRequest_;
  std::atomic<std::uint64_t> ticks_{0};
  Sweeps sweeps_;
  RequestQueue requests_;  ///< Filled under the table lock, sent after its release.
};

}  // namespace kellanseek::engine
