#include "engine/CtrlLifecycle.h"

#include <optional>

#include "diagnostics/UnitNames.h"
#include "protocol/Message.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;
using controllers::InterfaceIndex;

}  // namespace

CtrlLifecycle::CtrlLifecycle(const network::AddressPolling& polling, events::EventQueue& events,
                             HostNames& hostNames, daemon::RemoteVCPublisher& daemon,
                             platform::DebugOutput& debugOutput)
    : polling_(polling),
      events_(events),
      hostNames_(hostNames),
      daemon_(daemon),
      trace_(debugOutput, diagnostics::kDynamicInfoUnit) {}

void CtrlLifecycle::TellDaemonOfRemoval(const controllers::CtrlInfo& record, LanSeekEventReason reason) {
  using protocol::MessageType;
  // Other hosts need not know that the process died: to them the controller powers down.
  if (reason != CtrlLostConnection && reason != CtrlLostRestart && reason != CtrlLostPowerDown) {
    trace_.Error(L"LanSeek RemoveActiveCtrl. Unexpected removal reason %d for remote VC %s",
                 static_cast<std::int32_t>(reason), record.ctrlAddress);
  }
  const MessageType notice =
      reason == CtrlLostRestart ? MessageType::CtrlRestartMsg : MessageType::CtrlPowerDownMsg;
  daemon_.QueueMessageForRemoteVC(notice, std::nullopt, record.lanSeekID);
}

void CtrlLifecycle::RemoveActiveCtrl(CtrlTable::Access& table, CtrlTable::Record record,
                                     LanSeekEventReason reason, bool keep) {
  const bool leaves = record->Dynamic() && !keep;
  // Nothing after this can fail. Otherwise a half-finished removal would be reported again later.
  CtrlTable::Removal removal;
  if (leaves) removal = table.PrepareRemoval(record);
  hostNames_.Forget(record->lanSeekID);
  if (record->remotePublication != RemoteVCPublication_False && record->published)
    TellDaemonOfRemoval(*record, reason);
  if (record->published && record->Available()) {
    events_.QueueEvent(record->lanSeekID, record->Dynamic() ? CtrlRemoved : CtrlUnavailable, reason);
  }
  if (leaves) return table.Remove(removal);
  controllers::CtrlState& state = table.Change(record);
  state.published = false;
  if (record->Dynamic()) return;
  state.ctrlStatus = CtrlUnavailable;
  state.heardOnAddress = 0;
  state.heardOnInterface.reset();
  table.ChangeSchedule(record)->AwaitNextPoll(polling_.NextPollTicks());
}

HRESULT CtrlLifecycle::AddRemoteController(CtrlTable::Access& table, const std::wstring& address,
                                           std::uint32_t& lanSeekID) {
  if (platform::ParseIpv4(std::wstring_view(address)) == platform::kNoAddress) return E_INVALIDARG;
  controllers::CtrlInfo record;
  record.ctrlAddress = address;
  const CtrlTable::Record known = table.FindCtrl(record);
  if (known) {
    lanSeekID = known->lanSeekID;
    return known->Dynamic() ? KEL_S_ALREADY_DYNAMIC : KEL_S_ALREADY_CONFIGURED;
  }
  record.identificationType = RemoteCtrlDefinition;
  record.lanSeekID = lanSeekID = table.IssueLanSeekID();
  const CtrlTable::Record added = table.Add(record);
  if (added) table.ChangeSchedule(added)->AwaitNextPoll(0);
  return S_OK;
}

void CtrlLifecycle::Revalidate(CtrlTable::Access& table, CtrlTable::Record record,
                               const network::InterfaceTable& interfaces) {
  if (record->ctrlType == VC || !record->Available()) return;

  if (record->identificationType == RemoteCtrlDefinition) {
    // On a local network, broadcasts reach the controller from now on.
    const std::optional<InterfaceIndex> interfaceIndex =
        interfaces.FindInterfaceForAddress(record->Address());
    if (!interfaceIndex) return;
    table.MakeDynamic(record);
    controllers::CtrlState& state = table.Change(record);
    state.heardOnInterface = interfaceIndex;
    state.heardOnAddress = interfaces[*interfaceIndex].address;
    return;
  }
  const std::optional<InterfaceIndex> interfaceIndex =
      interfaces.FindInterfaceByAddress(record->heardOnAddress);
  if (interfaceIndex) {
    table.Change(record).heardOnInterface = interfaceIndex;
  } else if (record->heardOnInterface) {
    RemoveActiveCtrl(table, record, CtrlLostLAN);
  }
}

void CtrlLifecycle::RevalidateAfterInterfaceChange(CtrlTable::Access& table,
                                                   const network::InterfaceTable& interfaces) {
  for (CtrlTable::Record record = table.First(); record;) {
    const CtrlTable::Record next = table.After(record);
    Revalidate(table, record, interfaces);
    record = next;
  }
  daemon_.RefreshAfterReInit(table, interfaces);
}

}  // namespace kellanseek::engine
