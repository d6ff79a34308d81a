#include "engine/CtrlLifecycle.h"

#include "protocol/Message.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

}  // namespace

CtrlLifecycle::CtrlLifecycle(const network::InterfaceTable& interfaces,
                             const CKelLanSeekConfigSettings& settings, events::EventQueue& events,
                             HostNames& hostNames, daemon::RemoteVCPublisher& daemon,
                             platform::DebugOutput& debugOutput)
    : interfaces_(interfaces),
      settings_(settings),
      events_(events),
      hostNames_(hostNames),
      daemon_(daemon),
      trace_(debugOutput, kUnit) {}

void CtrlLifecycle::TellDaemonOfRemoval(const CtrlInfo& record, LanSeekEventReason reason) {
  std::int32_t code = protocol::CtrlPowerDownMsg;
  if (reason == CtrlLostConnection) {
    code = daemon::kUnpublishMsg;
  } else if (reason == CtrlLostRestart) {
    code = protocol::CtrlRestartMsg;
  } else if (reason != CtrlLostPowerDown) {
    trace_.Error(L"LanSeek RemoveActiveCtrl. Unexpected removal reason %d for remote VC %s",
                 static_cast<std::int32_t>(reason), record.ctrlAddress);
  }
  daemon_.QueueMessageForRemoteVC(code, 0, record.lanSeekID);
}

CtrlTable::Iterator CtrlLifecycle::RemoveActiveCtrl(CtrlTable& table, CtrlTable::Iterator position,
                                                    LanSeekEventReason reason, bool keep) {
  CtrlInfo& record = table.Edit(position);
  const bool leaves = record.Dynamic() && !keep;
  // Nothing after this can fail; a removal that was told in part would be told again.
  if (leaves) table.PrepareRemoval(position);
  hostNames_.Forget(record.lanSeekID);
  if (record.remotePublication != RemoteVCPublication_False && record.published)
    TellDaemonOfRemoval(record, reason);
  if (record.published && record.Available()) {
    events_.QueueEvent(record.lanSeekID, record.Dynamic() ? CtrlRemoved : CtrlUnavailable, reason);
  }
  if (leaves) return table.Remove(position);
  if (record.Dynamic()) {
    record.published = false;
    return std::next(position);
  }
  record.ctrlStatus = CtrlUnavailable;
  record.published = false;
  record.heardOnAddress = 0;
  record.heardOnInterface = kNone;
  record.ticksToNextAction =
      settings_.NonLocalUpdatesEnabled != 0 ? settings_.NonLocalRefreshIntervalTicks() : kNone;
  record.retriesLeft = kNone;
  return std::next(position);
}

HRESULT CtrlLifecycle::AddRemoteController(CtrlTable& table, const std::wstring& address,
                                           std::uint32_t& lanSeekID) {
  if (platform::ParseIpv4(std::wstring_view(address)) == platform::kNoAddress) return E_INVALIDARG;
  CtrlInfo record;
  record.ctrlAddress = address;
  lanSeekID = 0;
  const auto known = table.FindCtrl(record);
  if (known != table.end()) {
    lanSeekID = known->lanSeekID;
    return known->Dynamic() ? KEL_S_ALREADY_DYNAMIC : KEL_S_ALREADY_CONFIGURED;
  }
  record.identificationType = RemoteCtrlDefinition;
  record.lanSeekID = lanSeekID = table.IssueLanSeekID();
  record.ticksToNextAction = 0;
  table.AddCtrl(record);
  return S_OK;
}

CtrlTable::Iterator CtrlLifecycle::Revalidate(CtrlTable& table, CtrlTable::Iterator position) {
  CtrlInfo& record = table.Edit(position);
  if (record.ctrlType == VC || !record.Available()) return std::next(position);

  if (record.identificationType == RemoteCtrlDefinition) {
    const std::int32_t local = interfaces_.FindInterfaceForAddress(record.ctrlAddress);
    if (local >= 0) {
      table.MakeDynamic(position);
      record.heardOnInterface = local;
      record.heardOnAddress = interfaces_[static_cast<std::size_t>(local)].address;
    }
    return std::next(position);
  }
  const std::int32_t heardOn = interfaces_.FindInterfaceByAddress(record.heardOnAddress);
  if (heardOn < 0 && record.heardOnInterface >= 0) return RemoveActiveCtrl(table, position, CtrlLostLAN);
  if (heardOn >= 0) record.heardOnInterface = heardOn;
  return std::next(position);
}

void CtrlLifecycle::RevalidateAfterInterfaceChange(CtrlTable& table) {
  for (auto position = table.begin(); position != table.end();) {
    position = Revalidate(table, position);
  }
  daemon_.RefreshAfterReInit(table);
}

}  // namespace kellanseek::engine
