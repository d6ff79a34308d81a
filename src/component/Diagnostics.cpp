#include "component/KelLanSeekImpl.h"
#include "component/Report.h"
#include "text/Utf8.h"

namespace kellanseek::component {

STDMETHODIMP CKelLanSeek::GetReport(BSTR* pReport) {
  return Guarded([&] {
    if (pReport == nullptr) return Fail(E_POINTER, {L"pReport == NULL"});
    *pReport = nullptr;
    const std::wstring report =
        text::FromUtf8(MakeReport({table_, settings_, files_, journal_, events_, engine_, addresses_}));
    *pReport = SysAllocStringLen(report.data(), static_cast<UINT>(report.size()));
    return *pReport == nullptr ? Fail(E_OUTOFMEMORY, {L""}) : S_OK;
  });
}

STDMETHODIMP CKelLanSeek::GetSweeps(ULONG* pSweeps) {
  return Guarded([&] {
    if (pSweeps == nullptr) return Fail(E_POINTER, {L"pSweeps == NULL"});
    *pSweeps = engine_.CompletedSweeps();
    return S_OK;
  });
}

}  // namespace kellanseek::component
