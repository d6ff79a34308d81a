#include <array>

#include "component/KelLanSeekImpl.h"

namespace kellanseek::component {
namespace {

struct InterfaceEntry {
  const IID* iid;
  IUnknown* (*cast)(CKelLanSeek& object);
};

template <typename Interface>
constexpr InterfaceEntry Offers() {
  return {KelInterfaceId<Interface>,
          [](CKelLanSeek& object) -> IUnknown* { return static_cast<Interface*>(&object); }};
}

/// All interfaces of the object. The first is also its IUnknown.
constexpr std::array kInterfaces = {
    Offers<IKelCtrlIdentity>(),
    Offers<IKelLanSeek>(),
    Offers<IKelLanSeekSubscribe>(),
    Offers<IKelVCLanSeek>(),
    Offers<IKelBase>(),
    Offers<IKelLanSeekConfig>(),
    Offers<IKelCtrlIdentity2>(),
    Offers<IKelLanSeek2>(),
    Offers<IKelVCLanSeek2>(),
    Offers<IKelCtrlIdentity3>(),
    Offers<IKelLanSeekDiagnostics>(),
};

}  // namespace

IUnknown* CKelLanSeek::FindInterface(REFIID iid) {
  if (IsEqualIID(iid, IID_IUnknown)) {
    return controlling_ == &inner_ ? kInterfaces.front().cast(*this) : static_cast<IUnknown*>(&inner_);
  }
  for (const InterfaceEntry& entry : kInterfaces) {
    if (IsEqualIID(iid, *entry.iid)) return entry.cast(*this);
  }
  return nullptr;
}

HRESULT CKelLanSeek::QueryOwn(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  IUnknown* const found = FindInterface(iid);
  *object = found;
  if (found == nullptr) return E_NOINTERFACE;
  found->AddRef();
  return S_OK;
}

ULONG CKelLanSeek::AddOwnRef() { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG CKelLanSeek::ReleaseOwn() {
  const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) Destroy();
  return left;
}

STDMETHODIMP CKelLanSeek::QueryInterface(REFIID iid, void** object) {
  return controlling_->QueryInterface(iid, object);
}

STDMETHODIMP_(ULONG) CKelLanSeek::AddRef() { return controlling_->AddRef(); }

STDMETHODIMP_(ULONG) CKelLanSeek::Release() { return controlling_->Release(); }

}  // namespace kellanseek::component
