#include "engine/LocalVCs.h"

#include <string>

#include "diagnostics/UnitNames.h"
#include "platform/GuardedCall.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;

bool OffersVCObject(const VCInterface* vci) {
  return vci != nullptr && vci->pVC != nullptr && vci->vc_riid != nullptr &&
         IsEqualGUID(*vci->vc_riid, IID_KelVirtualController);
}

}  // namespace

LocalVCs::LocalVCs(CtrlTable& table, const config::CKelLanSeekConfigSettings& settings,
                   CtrlLifecycle& lifecycle, platform::ProcessTable& processes,
                   platform::DebugOutput& debugOutput)
    : table_(table),
      settings_(settings),
      lifecycle_(lifecycle),
      processes_(processes),
      trace_(debugOutput, diagnostics::kDynamicInfoUnit) {}

HRESULT LocalVCs::RegisterVC(std::wstring_view systemPath, std::wstring_view systemID,
                             std::uint32_t processID, RemoteVCPublication remotePublication,
                             const VCInterface* vci) {
  if (!OffersVCObject(vci) || systemID.empty()) return E_INVALIDARG;
  // Destroyed after the lock is released: if it is not added, it releases its object, which is client code.
  controllers::CtrlInfo record;
  record.ctrlAddress = systemPath;
  record.systemID = systemID;
  record.ctrlType = VC;
  record.remotePublication = remotePublication;
  record.ctrlStatus = CtrlAvailable;
  record.identificationType = DynamicCtrlDefinition;
  record.vcProcessID = processID;
  record.vcProcessStart = processes_.StartStamp(processID);
  // Guarded, because the object may live in a process that has just ended. KelComPtr lets no exception pass.
  if (!platform::RunGuarded([vci] { vci->pVC->AddRef(); })) return E_UNEXPECTED;
  record.vcInterface = KelComPtr<IUnknown>::Attach(vci->pVC);

  CtrlTable::Access table(table_);
  if (table.FirstBySystemID(record.systemID)) {
    trace_.Error(L"LanSeek: Register VC failed. Ctrl with SysID %s is already in the LanSeek database\n",
                 systemID);
    return KEL_E_SYSTEMID_PRESENT;
  }
  record.lanSeekID = table.IssueLanSeekID();
  const CtrlTable::Record added = table.Add(record);
  if (!added) return E_OUTOFMEMORY;
  table.ChangeSchedule(added)->AwaitNextPoll(settings_.Ticks(settings_.VCRefreshInterval));
  return S_OK;
}

HRESULT LocalVCs::RemoveVC(std::wstring_view systemID, bool keep) {
  CtrlTable::Access table(table_);
  const CtrlTable::Record known = table.FirstBySystemID(std::wstring(systemID));
  if (!known) return KEL_E_NOT_FOUND;
  lifecycle_.RemoveActiveCtrl(table, known, CtrlLostPowerDown, keep);
  return S_OK;
}

}  // namespace kellanseek::engine
