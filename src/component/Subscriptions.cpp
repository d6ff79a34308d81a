#include <string_view>
#include <utility>

#include "component/BstrView.h"
#include "component/KelLanSeekImpl.h"
#include "events/EventData.h"

namespace kellanseek::component {
namespace {

/// The text up to its first zero character.
std::wstring_view EventTextOf(BSTR text) {
  const std::wstring_view all = ViewOf(text);
  return all.substr(0, all.find(L'\0'));
}

}  // namespace

STDMETHODIMP CKelLanSeek::Subscribe(KelEventParams* pRep, ULONG* cookie) {
  return Guarded([&]() -> HRESULT {
    if (pRep == nullptr) return Fail(E_POINTER, L"pRep == NULL");
    if (pRep->containData != Data) return Fail(E_INVALIDARG, L"pRep->containData != Data");
    if (cookie == nullptr) return Fail(E_POINTER, L"cookie == NULL");
    if (pRep->subscriptionType >= table_.NextLanSeekID()) return Fail(E_INVALIDARG, L"LanSeekID too large");
    if (pRep->pSink == nullptr) return Fail(E_POINTER, L"pRep->pSink == NULL");

    KelComPtr<IKelObjectEvents> sink;
    HRESULT result = pRep->pSink->QueryInterface(IID_IKelObjectEvents, sink.PutVoid());
    if (SUCCEEDED(result) && !sink) result = E_NOINTERFACE;
    if (FAILED(result)) {
      return Fail(result, L"CKelLanSeek::Subscribe, Failed to QueryInterface to IID_IKelObjectEvents");
    }
    // The cookie is returned even if the subscription fails; only the error text reports the failure.
    if (FAILED(events_.AddSubscriber(pRep->subscriptionType, std::move(sink), pRep->userDef, cookie))) {
      TakeErrorFrom(events_, diagnostics::kComponentUnit);
    }
    return S_OK;
  });
}

STDMETHODIMP CKelLanSeek::Unsubscribe(ULONG dw) {
  return Guarded([&]() -> HRESULT {
    // Releasing the sink may destroy this object, so nothing of it may be used after a success.
    const HRESULT result = events_.RemoveSubscriber(dw);
    if (FAILED(result)) TakeErrorFrom(events_, diagnostics::kComponentUnit);
    return result;
  });
}

STDMETHODIMP CKelLanSeek::UnpackSubscriptionData(VARIANT* pData, ULONG* pLanSeekID,
                                                 KelCtrlAvailability* pStatus, LanSeekEventReason* pReason) {
  return Guarded([&]() -> HRESULT {
    if (pLanSeekID == nullptr) return Fail(E_POINTER, L"pLanSeekID == NULL");
    if (pStatus == nullptr) return Fail(E_POINTER, L"pStatus == NULL");
    if (pReason == nullptr) return Fail(E_POINTER, L"pReason == NULL");
    if (pData == nullptr) return Fail(E_INVALIDARG, L"pData == NULL");
    if (pData->vt != VT_BSTR || pData->bstrVal == nullptr) return Fail(E_FAIL, L"Invalid VARIANT");

    events::EventNumbers numbers = {};
    const std::size_t count = events::ScanEventText(EventTextOf(pData->bstrVal), numbers);
    if (count > 0) *pLanSeekID = static_cast<ULONG>(numbers[0]);
    if (count > 1) *pStatus = static_cast<KelCtrlAvailability>(numbers[1]);
    if (count > 2) *pReason = static_cast<LanSeekEventReason>(numbers[2]);
    return count == numbers.size() ? S_OK : Fail(E_FAIL, L"Invalid argument");
  });
}

}  // namespace kellanseek::component
