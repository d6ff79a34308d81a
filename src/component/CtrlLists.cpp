#include <algorithm>
#include <utility>
#include <vector>

#include "component/KelEnum.h"
#include "component/KelLanSeekImpl.h"

namespace kellanseek::component {
namespace {

/// The only supported value of KelRetrievalParams::noOfElts.
constexpr LONG kRetrieveAll = -2;

bool Published(const controllers::CtrlInfo& record) { return record.published; }
bool UnpublishedVC(const controllers::CtrlInfo& record) { return !record.published && record.ctrlType == VC; }

}  // namespace

STDMETHODIMP CKelLanSeek::GetCtrlList(KelRetrievalParams* pRetPar,
                                      IKelEnumCtrlIdentity** ppCtrlIdentityEnum) {
  return Guarded([&] { return ListCtrls(pRetPar, ppCtrlIdentityEnum, Published); });
}

STDMETHODIMP CKelLanSeek::GetUnpublishedVCList(KelRetrievalParams* pRetPar,
                                               IKelEnumCtrlIdentity** ppCtrlIdentityEnum) {
  return Guarded([&] { return ListCtrls(pRetPar, ppCtrlIdentityEnum, UnpublishedVC); });
}

HRESULT CKelLanSeek::ListCtrls(KelRetrievalParams* pRetPar, IKelEnumCtrlIdentity** ppCtrlIdentityEnum,
                               Listed listed, int line) {
  if (ppCtrlIdentityEnum == nullptr) return Fail(E_POINTER, {L"", line});
  *ppCtrlIdentityEnum = nullptr;
  if (pRetPar == nullptr) return Fail(E_POINTER, {L"", line});
  if (pRetPar->noOfElts != kRetrieveAll) return Fail(E_INVALIDARG, {L"Only RetrieveAll supported", line});
  pRetPar->noOfElts = 0;

  const KelComPtr<CtrlEnum> list = CtrlEnum::Create(moduleLock_.Module());
  if (!list) return Fail(E_OUTOFMEMORY, {L"Failed to create EnumAvailableCtrls", line});
  ULONG mark = pRetPar->mark;
  std::vector<AvailableCtrlsListItem> items = Snapshot(mark, listed);
  pRetPar->noOfElts = static_cast<LONG>(items.size());
  pRetPar->bLast = 1;
  pRetPar->mark = mark;
  list->Init(std::move(items), CtrlEnum::Ownership::Taken, {});

  const HRESULT result =
      list->QueryInterface(IID_IKelEnumCtrlIdentity, reinterpret_cast<void**>(ppCtrlIdentityEnum));
  return FAILED(result) ? Fail(result, {L"QI for IID_IKelEnumCtrlIdentity failed", line}) : S_OK;
}

std::vector<AvailableCtrlsListItem> CKelLanSeek::Snapshot(ULONG& mark, Listed listed) {
  std::vector<AvailableCtrlsListItem> items;
  const ULONG after = mark;
  controllers::CtrlTable::Access table(table_);
  table.ForEach([&](controllers::CtrlTable::Record record) {
    if (record->lanSeekID <= after || !listed(*record)) return;
    items.push_back({record->lanSeekID});
    mark = std::max<ULONG>(mark, record->lanSeekID);
  });
  return items;
}

}  // namespace kellanseek::component
