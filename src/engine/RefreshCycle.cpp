#include "engine/RefreshCycle.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "diagnostics/UnitNames.h"
#include "platform/CodePage.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;
using controllers::InterfaceIndex;
using controllers::PollSchedule;

using protocol::MessageType;

constexpr std::uint64_t kTicksBetweenSweepChecks = 2 * RefreshCycle::kTicksBetweenLooks;

/// So many controllers are asked or lost, in a few milliseconds, before others may have the table.
constexpr std::size_t kPortion = 512;

}  // namespace

RefreshCycle::RefreshCycle(const Parts& parts)
    : table_(parts.table),
      interfaces_(parts.interfaces),
      settings_(parts.settings),
      polling_(parts.polling),
      daemon_(parts.daemon),
      lifecycle_(parts.lifecycle),
      processes_(parts.processes),
      journal_(parts.journal),
      trace_(parts.debugOutput, diagnostics::kDynamicInfoUnit),
      fullRequest_(protocol::BuildRequest(MessageType::FullRequestMsg)),
      refreshRequest_(protocol::BuildRequest(MessageType::RefreshRequestMsg)) {}

void RefreshCycle::BeginRun(const RequestOutlet& outlet) {
  requests_.Clear();
  // Before the broadcast, so that no answer precedes its timer.
  ArmInitialTimeouts();
  BeginSweep();
  BroadcastOnAll(outlet, MessageType::FullRequestMsg);
  if (polling_.Enabled()) AskConfigured(outlet);
}

void RefreshCycle::BeginSweep() {
  CtrlTable::Access table(table_);
  const std::size_t count = interfaces_.Table(table).Size();
  sweeps_.BeginRun(count);
  for (InterfaceIndex interfaceIndex{}; PlaceOf(interfaceIndex) < count; ++interfaceIndex)
    sweeps_.Asked(interfaceIndex, settings_.Ticks(settings_.RefreshTimeout));
  ExpectPolled(table);
}

void RefreshCycle::ExpectPolled(CtrlTable::Access& table) {
  std::vector<std::uint32_t> polled;
  for (CtrlTable::Record record = table.First(); record; record = table.After(record))
    if (IsPolledByAddress(*record)) polled.push_back(record->lanSeekID);
  sweeps_.Expect(std::move(polled), settings_.Ticks(settings_.NonLocalRefreshTimeout));
}

void RefreshCycle::SweepPass() {
  CtrlTable::Access table(table_);
  // Looking for those that are gone, or have come, takes a walk, and nobody waits for a sweep to the tick.
  const bool isTimeToLook = TicksSoFar() % kTicksBetweenSweepChecks == 0;
  if (isTimeToLook) {
    std::erase_if(sweeps_.Unasked(), [&](std::uint32_t lanSeekID) {
      const CtrlTable::Record record = table.Find(lanSeekID);
      return !record || !IsPolledByAddress(*record);
    });
  }
  sweeps_.Tick();
  if (sweeps_.WantsPolled() && (isTimeToLook || sweeps_.AsksAnybody())) ExpectPolled(table);
}

void RefreshCycle::ArmInitialTimeouts() {
  CtrlTable::Access table(table_);
  for (CtrlTable::Record record = table.First(); record; record = table.After(record)) {
    if (!record->Available() || record->ctrlType == VC || IsPolledByAddress(*record)) continue;
    table.ChangeSchedule(record)->Arm(settings_.Ticks(settings_.RefreshTimeout), settings_.RetryCount());
  }
}

void RefreshCycle::BroadcastOnAll(const RequestOutlet& outlet, MessageType type) {
  const std::size_t count = InterfaceCount();
  for (InterfaceIndex interfaceIndex{}; PlaceOf(interfaceIndex) < count; ++interfaceIndex) {
    outlet.sender.Broadcast(interfaceIndex,
                            type == MessageType::FullRequestMsg ? fullRequest_ : refreshRequest_);
    daemon_.QueueMessageForRemoteVC(type, interfaceIndex, 0);
  }
}

void RefreshCycle::AskConfigured(const RequestOutlet& outlet) {
  {
    CtrlTable::Access table(table_);
    for (CtrlTable::Record record = table.First(); record; record = table.After(record)) {
      if (record->Dynamic()) continue;
      if (auto schedule = table.ChangeSchedule(record); record->Available()) {
        schedule->Arm(settings_.Ticks(settings_.NonLocalRefreshTimeout), settings_.NonLocalRetryCount());
      } else {
        schedule->AwaitNextPoll(settings_.NonLocalRefreshIntervalTicks());
      }
      AddByAddress(table, *record, fullRequest_);
    }
  }
  SendRequests(outlet);
}

void RefreshCycle::Tick(const RequestOutlet& outlet) {
  ticks_.fetch_add(1, std::memory_order_relaxed);
  requests_.PassTicks(1);
  SweepPass();
  InterfacePass(outlet);
  ControllerPass(outlet.pacer);
  SendRequests(outlet);
}

std::int32_t RefreshCycle::IdleTicks() {
  CtrlTable::Access table(table_);
  if (table.AnyTimer() || sweeps_.CountsTicks() || requests_.Waiting() > 0) return 0;
  auto idle = static_cast<std::int32_t>(kTicksBetweenLooks - 1 - TicksSoFar() % kTicksBetweenLooks);
  for (const RunInterfaces::Counters& counters : interfaces_.AllCounters(table)) {
    if (counters.refreshCountdown >= 0) idle = std::min(idle, counters.refreshCountdown);
  }
  return idle;
}

void RefreshCycle::SkipTicks(std::int32_t ticks) {
  if (ticks == 0) return;
  ticks_.fetch_add(static_cast<std::uint64_t>(ticks), std::memory_order_relaxed);
  requests_.PassTicks(static_cast<std::size_t>(ticks));
  CtrlTable::Access table(table_);
  for (RunInterfaces::Counters& counters : interfaces_.AllCounters(table)) {
    // One that was asked while the thread slept has begun its countdown only then.
    if (counters.refreshCountdown > 0 && !counters.askedSinceTick) counters.refreshCountdown -= ticks;
  }
}

std::size_t RefreshCycle::InterfaceCount() {
  const CtrlTable::Access table(table_);
  return interfaces_.Table(table).Size();
}

void RefreshCycle::InterfacePass(const RequestOutlet& outlet) {
  const std::size_t count = InterfaceCount();
  for (InterfaceIndex interfaceIndex{}; PlaceOf(interfaceIndex) < count; ++interfaceIndex) {
    if (!InterfaceDue(interfaceIndex)) continue;
    outlet.sender.Broadcast(interfaceIndex, refreshRequest_);
    daemon_.QueueMessageForRemoteVC(MessageType::RefreshRequestMsg, interfaceIndex, 0);
  }
}

bool RefreshCycle::InterfaceDue(InterfaceIndex interfaceIndex) {
  CtrlTable::Access table(table_);
  RunInterfaces::Counters& counters = interfaces_.CountersOf(table, interfaceIndex);
  counters.requestsThisTick = 0;
  counters.askedSinceTick = false;
  // A negative countdown does not run: the setting turns our own refreshes off.
  if (counters.refreshCountdown != 0) {
    if (counters.refreshCountdown > 0) --counters.refreshCountdown;
    return false;
  }
  StartRefreshCycle(table, interfaceIndex, MessageType::RefreshRequestMsg);
  return true;
}

void RefreshCycle::ControllerPass(SendPacer& pacer) {
  std::optional<std::uint32_t> last = 0;
  while ((last = PortionAfter(*last))) {
    // A mere unlock would not do: this thread would have the lock again before a waiting one has woken up.
    if (!pacer.Pause()) return;
  }
}

std::optional<std::uint32_t> RefreshCycle::PortionAfter(std::uint32_t lanSeekID) {
  CtrlTable::Access table(table_);
  CtrlTable::TimerPass pass(table, lanSeekID);
  std::size_t acted = 0;
  while (const CtrlTable::Record record = pass.Next()) {
    const std::uint32_t passed = record->lanSeekID;
    const PollSchedule::State state = table.ChangeSchedule(record)->Pass();
    if (state == PollSchedule::State::Waiting) continue;
    Act(table, record, state);
    if (++acted == kPortion) return passed;
  }
  requests_.DropThoseGone(table);
  return std::nullopt;
}

void RefreshCycle::Act(CtrlTable::Access& table, CtrlTable::Record record, PollSchedule::State state) {
  if (record->ctrlType == VC) return CheckLocalVC(table, record);
  const bool byAddress = IsPolledByAddress(*record);
  // A request that has not been sent cannot have been answered.
  if (byAddress && requests_.Waits(record->lanSeekID)) return;
  if (state == PollSchedule::State::Lost) {
    ++table.Change(record).unanswered;
    lifecycle_.RemoveActiveCtrl(table, record, CtrlLostConnection);
  } else if (byAddress) {
    AskByAddress(table, record);
  } else {
    AskByBroadcast(table, record);
  }
}

void RefreshCycle::CheckLocalVC(CtrlTable::Access& table, CtrlTable::Record record) {
  if (processes_.IsRunning(record->vcProcessID, record->vcProcessStart)) {
    table.ChangeSchedule(record)->AwaitNextPoll(settings_.Ticks(settings_.VCRefreshInterval));
    return;
  }
  std::array<wchar_t, diagnostics::kTraceBuffer> name;
  trace_.Error(L"LanSeek: VC %s @ %s ID: %d has terminated!", record->systemName.CopyTo(name),
               record->ctrlAddress, record->vcProcessID);
  // The object died with its process, so it must not be called, not even to release it.
  static_cast<void>(table.Change(record).vcInterface.Detach());
  lifecycle_.RemoveActiveCtrl(table, record, CtrlLostConnection);
}

void RefreshCycle::AskByAddress(CtrlTable::Access& table, CtrlTable::Record record) {
  const bool first = !record->Schedule().AwaitsAnswer();
  // An unavailable controller cannot be lost, so it is asked once per interval, without retries.
  if (first && !record->Available()) {
    table.ChangeSchedule(record)->AwaitNextPoll(settings_.NonLocalRefreshIntervalTicks());
    return AddByAddress(table, *record, fullRequest_);
  }
  const std::int32_t timeout = settings_.Ticks(settings_.NonLocalRefreshTimeout);
  if (first) {
    table.ChangeSchedule(record)->Arm(timeout, settings_.NonLocalRetryCount());
  } else {
    ++table.Change(record).unanswered;
    table.ChangeSchedule(record)->Asked(timeout);
  }
  // A repeated request asks for the full identity. So does every request to a controller not yet announced;
  // with endless retries their number does not distinguish the two.
  AddByAddress(table, *record, first && record->published ? refreshRequest_ : fullRequest_);
}

void RefreshCycle::AddByAddress(CtrlTable::Access& table, const controllers::CtrlInfo& record,
                                std::string_view datagram) {
  const bool isNeighbour = interfaces_.Table(table).FindInterfaceForAddress(record.Address()).has_value();
  requests_.AddByAddress(record, isNeighbour, datagram);
}

void RefreshCycle::SendRequests(const RequestOutlet& outlet) {
  journal_.counters.waitingRequests.Reach(requests_.Waiting());
  const RequestQueue::Sent sent = requests_.Send(outlet);
  if (sent.all.empty()) return;
  CtrlTable::Access table(table_);
  for (const std::uint32_t lanSeekID : sent.all) sweeps_.Polled(lanSeekID);
  for (const std::uint32_t lanSeekID : sent.late) {
    const CtrlTable::Record found = table.Find(lanSeekID);
    if (!found || !IsPolledByAddress(*found)) continue;
    const PollSchedule& schedule = found->Schedule();
    // More requests left than a poll has: its full identity is requested at once.
    if (schedule.RequestsLeft() > settings_.NonLocalRetryCount()) continue;
    const bool endless = settings_.NonLocalRetryCount() < 0 && found->Available();
    table.ChangeSchedule(found)->Restart(schedule.AwaitsAnswer() || endless
                                             ? settings_.Ticks(settings_.NonLocalRefreshTimeout)
                                             : settings_.NonLocalRefreshIntervalTicks());
  }
}

void RefreshCycle::AskByBroadcast(CtrlTable::Access& table, CtrlTable::Record found) {
  const controllers::CtrlInfo& record = *found;
  if (!record.heardOnInterface || !interfaces_.Table(table).Contains(*record.heardOnInterface)) return;
  const InterfaceIndex interfaceIndex = *record.heardOnInterface;
  RunInterfaces::Counters& counters = interfaces_.CountersOf(table, interfaceIndex);
  // Beyond the limit, the controller stays due until the next tick.
  if (counters.requestsThisTick >= settings_.MaxRequestsPerTick()) return;
  ++counters.requestsThisTick;
  ++table.Change(found).unanswered;
  table.ChangeSchedule(found)->Asked(settings_.Ticks(settings_.RefreshTimeout));
  std::string request = protocol::BuildTargetedRequest(
      platform::ToNarrow(record.ctrlAddress),
      record.ctrlType == RemoteVC ? platform::ToNarrow(record.systemID) : std::string());
  // Empty if an identity from the network made the request too long for two length digits.
  if (!request.empty()) requests_.AddBroadcast(interfaceIndex, std::move(request));
}

HRESULT RefreshCycle::RefreshForID(CtrlTable::Access& table, std::uint32_t lanSeekID) const {
  if (lanSeekID >= table.NextLanSeekID()) return E_INVALIDARG;
  const CtrlTable::Record found = table.Find(lanSeekID);
  if (!found) return KEL_E_LANSEEKID_NOT_IN_USE;
  if (found->Schedule().AwaitsAnswer() || found->ctrlType == VC || !found->Available()) return S_OK;
  if (IsPolledByAddress(*found)) {
    table.ChangeSchedule(found)->AskNow(PollSchedule::OneMore(settings_.NonLocalRetryCount()));
  } else {
    table.ChangeSchedule(found)->Arm(1, PollSchedule::OneMore(settings_.RetryCount()));
  }
  return S_OK;
}

void RefreshCycle::StartRefreshCycle(CtrlTable::Access& table, std::optional<InterfaceIndex> interfaceIndex,
                                     MessageType type) {
  if (!interfaceIndex || !interfaces_.Table(table).Contains(*interfaceIndex)) {
    trace_.Error(L"LanSeek: StartRefreshCycle internal error. Bad interface index");
    return;
  }
  if (type != MessageType::FullRequestMsg && type != MessageType::RefreshRequestMsg) {
    trace_.Error(L"LanSeek: StartRefreshCycle internal error. Bad message type");
    return;
  }
  RunInterfaces::Counters& counters = interfaces_.CountersOf(table, *interfaceIndex);
  counters.refreshCountdown = settings_.RefreshIntervalTicks();
  counters.askedSinceTick = true;
  table.WakeTimers();

  const std::int32_t timeout = settings_.Ticks(settings_.RefreshTimeout);
  sweeps_.Asked(*interfaceIndex, timeout);
  for (CtrlTable::Record record = table.First(); record; record = table.After(record)) {
    if (record->heardOnInterface != interfaceIndex || !record->Available() || IsPolledByAddress(*record))
      continue;
    if (!record->Schedule().AwaitsAnswer()) {
      table.ChangeSchedule(record)->Arm(timeout, settings_.RetryCount());
    } else if (record->published || type == MessageType::FullRequestMsg) {
      // A controller not yet announced lacks its full identity, which answers to a refresh do not contain.
      table.ChangeSchedule(record)->CountForeignRequest(timeout);
    }
  }
}

}  // namespace kellanseek::engine
