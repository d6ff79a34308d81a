#include "engine/RefreshCycle.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/CodePage.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

}  // namespace

RefreshCycle::RefreshCycle(const Parts& parts)
    : table_(parts.table),
      interfaces_(parts.interfaces),
      settings_(parts.settings),
      sender_(parts.sender),
      daemon_(parts.daemon),
      lifecycle_(parts.lifecycle),
      processes_(parts.processes),
      trace_(parts.debugOutput, kUnit),
      fullRequest_(protocol::BuildRequest(protocol::FullRequestMsg)),
      refreshRequest_(protocol::BuildRequest(protocol::RefreshRequestMsg)),
      requests_(parts.sender, parts.pacer) {}

void RefreshCycle::BeginRun() {
  requests_.Clear();
  ArmInitialTimeouts();
  BroadcastOnAll(protocol::FullRequestMsg);
  if (settings_.NonLocalUpdatesEnabled != 0) AskConfigured();
}

void RefreshCycle::ArmInitialTimeouts() {
  const CtrlTable::Lock lock(table_);
  for (auto position = table_.begin(); position != table_.end(); ++position) {
    CtrlInfo& record = table_.Edit(position);
    if (!record.Available() || record.ctrlType == VC || NonLocal(record)) continue;
    record.retriesLeft = settings_.RetryCount();
    record.ticksToNextAction = settings_.Ticks(settings_.RefreshTimeout);
  }
}

void RefreshCycle::BroadcastOnAll(protocol::LanSeekMsgType type) {
  for (std::size_t position = 0; position < interfaces_.Size(); ++position) {
    sender_.Broadcast(position, type == protocol::FullRequestMsg ? fullRequest_ : refreshRequest_);
    daemon_.QueueMessageForRemoteVC(static_cast<std::int32_t>(type), static_cast<std::int32_t>(position), 0);
  }
}

void RefreshCycle::AskConfigured() {
  {
    const CtrlTable::Lock lock(table_);
    for (auto position = table_.begin(); position != table_.end(); ++position) {
      CtrlInfo& record = table_.Edit(position);
      if (record.Dynamic()) continue;
      const bool available = record.Available();
      record.ticksToNextAction = available ? settings_.Ticks(settings_.NonLocalRefreshTimeout)
                                           : settings_.NonLocalRefreshIntervalTicks();
      record.retriesLeft = available ? settings_.NonLocalRetryCount() : kNone;
      AddByAddress(record, fullRequest_);
    }
  }
  SendRequests();
}

void RefreshCycle::Tick() {
  ticks_.fetch_add(1, std::memory_order_relaxed);
  requests_.NextTick();
  InterfacePass();
  ControllerPass();
  SendRequests();
}

void RefreshCycle::InterfacePass() {
  for (std::size_t position = 0; position < interfaces_.Size(); ++position) {
    if (!InterfaceDue(position)) continue;
    sender_.Broadcast(position, refreshRequest_);
    daemon_.QueueMessageForRemoteVC(protocol::RefreshRequestMsg, static_cast<std::int32_t>(position), 0);
  }
}

bool RefreshCycle::InterfaceDue(std::size_t position) {
  const CtrlTable::Lock lock(table_);
  network::InterfaceEntry& entry = interfaces_[position];
  entry.requestsThisTick = 0;
  // A negative one stands still: there are no refreshes of our own.
  if (entry.refreshCountdown != 0) {
    if (entry.refreshCountdown > 0) --entry.refreshCountdown;
    return false;
  }
  StartRefreshCycle(table_, static_cast<std::int32_t>(position), protocol::RefreshRequestMsg);
  return true;
}

void RefreshCycle::ControllerPass() {
  const CtrlTable::Lock lock(table_);
  for (auto position = table_.begin(); position != table_.end();) {
    if (position->ticksToNextAction == 0) {
      position = Due(position);
      continue;
    }
    if (position->ticksToNextAction > 0) --table_.Edit(position).ticksToNextAction;
    ++position;
  }
  requests_.DropThoseGone(table_);
}

CtrlTable::Iterator RefreshCycle::Due(CtrlTable::Iterator position) {
  CtrlInfo& record = table_.Edit(position);
  if (record.ctrlType == VC) return CheckLocalVC(position);
  // A request that has not left yet cannot have been answered.
  if (NonLocal(record) && requests_.Waits(record.lanSeekID)) return std::next(position);
  if (record.retriesLeft == 0) return lifecycle_.RemoveActiveCtrl(table_, position, CtrlLostConnection);
  if (NonLocal(record)) {
    AskByAddress(record);
  } else {
    AskByBroadcast(record);
  }
  return std::next(position);
}

CtrlTable::Iterator RefreshCycle::CheckLocalVC(CtrlTable::Iterator position) {
  CtrlInfo& record = table_.Edit(position);
  if (processes_.IsRunning(record.vcProcessID, record.vcProcessStart)) {
    record.ticksToNextAction = settings_.Ticks(settings_.VCRefreshInterval);
    record.retriesLeft = kNone;
    return std::next(position);
  }
  trace_.Error(L"LanSeek: VC %s @ %s ID: %d has terminated!", record.systemName, record.ctrlAddress,
               record.vcProcessID);
  // The object died with its process, so no call may be made on it.
  static_cast<void>(record.vcInterface.Detach());
  return lifecycle_.RemoveActiveCtrl(table_, position, CtrlLostConnection);
}

void RefreshCycle::AskByAddress(CtrlInfo& record) {
  if (record.retriesLeft < 0 && !record.Available()) {
    record.ticksToNextAction = settings_.NonLocalRefreshIntervalTicks();
    AddByAddress(record, fullRequest_);
    return;
  }
  const bool first = record.retriesLeft < 0;
  record.ticksToNextAction = settings_.Ticks(settings_.NonLocalRefreshTimeout);
  record.retriesLeft = first ? settings_.NonLocalRetryCount() : record.retriesLeft - 1;
  // A repeated request asks for the full identity. So does each to a controller that is not announced yet,
  // which with retries without end cannot be told by their number.
  AddByAddress(record, first && record.published ? refreshRequest_ : fullRequest_);
}

void RefreshCycle::AddByAddress(const CtrlInfo& record, std::string_view datagram) {
  const bool isNeighbour = interfaces_.FindInterfaceForAddress(record.ctrlAddress) >= 0;
  requests_.AddByAddress(record, isNeighbour, datagram);
}

void RefreshCycle::SendRequests() {
  const std::vector<std::uint32_t> late = requests_.Send();
  if (late.empty()) return;
  const CtrlTable::Lock lock(table_);
  for (const std::uint32_t lanSeekID : late) {
    const auto found = table_.Find(lanSeekID);
    // More retries than a poll has: its full identity is to be asked for at once.
    if (found == table_.end() || !NonLocal(*found) || found->retriesLeft > settings_.NonLocalRetryCount())
      continue;
    CtrlInfo& record = table_.Edit(found);
    const bool endless = settings_.NonLocalRetryCount() < 0 && record.Available();
    record.ticksToNextAction = record.retriesLeft >= 0 || endless
                                   ? settings_.Ticks(settings_.NonLocalRefreshTimeout)
                                   : settings_.NonLocalRefreshIntervalTicks();
  }
}

void RefreshCycle::AskByBroadcast(CtrlInfo& record) {
  if (!interfaces_.Contains(record.heardOnInterface)) return;
  const auto position = static_cast<std::size_t>(record.heardOnInterface);
  network::InterfaceEntry& entry = interfaces_[position];
  if (entry.requestsThisTick >= settings_.MaxRequestsPerTick()) return;
  ++entry.requestsThisTick;
  record.ticksToNextAction = settings_.Ticks(settings_.RefreshTimeout);
  record.retriesLeft = settings_.OneLess(record.retriesLeft);
  std::string request = protocol::BuildTargetedRequest(
      platform::ToNarrow(record.ctrlAddress),
      record.ctrlType == RemoteVC ? platform::ToNarrow(record.systemID) : std::string());
  // Empty when an identity from the network made it too long to be told in two digits.
  if (!request.empty()) requests_.AddBroadcast(position, std::move(request));
}

HRESULT RefreshCycle::RefreshForID(CtrlTable& table, std::uint32_t lanSeekID) const {
  if (lanSeekID >= table.NextLanSeekID()) return E_INVALIDARG;
  const auto found = table.Find(lanSeekID);
  if (found == table.end()) return KEL_E_LANSEEKID_NOT_IN_USE;
  if (found->retriesLeft >= 0 || found->ctrlType == VC || !found->Available()) return S_OK;
  CtrlInfo& record = table.Edit(found);
  const bool byAddress = NonLocal(record);
  record.ticksToNextAction = byAddress ? 0 : 1;
  record.retriesLeft = settings_.OneMore(byAddress ? settings_.NonLocalRetryCount() : settings_.RetryCount());
  return S_OK;
}

void RefreshCycle::StartRefreshCycle(CtrlTable& table, std::int32_t position, std::uint32_t type) {
  if (!interfaces_.Contains(position)) {
    trace_.Error(L"LanSeek: StartRefreshCycle internal error. Bad interface index");
    return;
  }
  if (type != protocol::FullRequestMsg && type != protocol::RefreshRequestMsg) {
    trace_.Error(L"LanSeek: StartRefreshCycle internal error. Bad message type");
    return;
  }
  interfaces_[static_cast<std::size_t>(position)].refreshCountdown = settings_.RefreshIntervalTicks();

  const std::int32_t timeout = settings_.Ticks(settings_.RefreshTimeout);
  for (auto it = table.begin(); it != table.end(); ++it) {
    if (it->heardOnInterface != position || !it->Available() || NonLocal(*it)) continue;
    CtrlInfo& record = table.Edit(it);
    if (record.retriesLeft < 0) {
      record.retriesLeft = settings_.RetryCount();
      record.ticksToNextAction = timeout;
    } else if (record.published || type == protocol::FullRequestMsg) {
      CountRequest(record, timeout);
    }
  }
}

}  // namespace kellanseek::engine
