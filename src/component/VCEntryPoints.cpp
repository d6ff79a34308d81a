#include "component/BstrView.h"
#include "component/KelLanSeekImpl.h"

namespace kellanseek::component {
STDMETHODIMP CKelLanSeek::Register(BSTR systemPath, BSTR systemID, ULONG dwProcID, VCInterface* pvci) {
  return Register2(systemPath, systemID, dwProcID, RemoteVCPublication_False, pvci);
}

STDMETHODIMP CKelLanSeek::Register2(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                                    RemoteVCPublication remotePublication, VCInterface* pvci) {
  return Guarded([&]() -> HRESULT {
    const HRESULT result =
        engine_.RegisterVC(ViewOf(systemPath), ViewOf(systemID), dwProcID, remotePublication, pvci);
    return FAILED(result) ? Fail(result, L"") : result;
  });
}

STDMETHODIMP CKelLanSeek::UnRegister(BSTR systemID) { return RemoveVC(systemID, false); }

STDMETHODIMP CKelLanSeek::PreUnRegister(BSTR systemID) { return RemoveVC(systemID, true); }

HRESULT CKelLanSeek::RemoveVC(BSTR systemID, bool keep, int line) {
  // Removing a virtual controller releases its object, which may hold the last reference to this one.
  const KelComPtr<IUnknown> self(controlling_);
  const auto remove = [&]() -> HRESULT {
    const HRESULT result = engine_.RemoveVC(ViewOf(systemID), keep);
    return FAILED(result) ? Fail(result, {L"", line}) : result;
  };
  return Guarded(remove, line);
}

STDMETHODIMP CKelLanSeek::ForwardMessage(BSTR msg) {
  const KelComPtr<IUnknown> self(controlling_);
  return Guarded([&]() -> HRESULT {
    engine_.ForwardMessage(ViewOf(msg));
    return S_OK;
  });
}

}  // namespace kellanseek::component
