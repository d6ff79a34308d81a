#include <string>
#include <string_view>

#include "component/BstrView.h"
#include "component/KelLanSeekImpl.h"
#include "platform/Ipv4.h"

namespace kellanseek::component {
namespace {

using controllers::CtrlTable;

constexpr const wchar_t* kNullOutput = L"lanSeekID == NULL";
constexpr const wchar_t* kNoSystemID = L"SystemID is NULL or have length 0";

/// Returned by look-ups without a match. Never issued as an id.
constexpr std::uint32_t kNoCtrl = 0;

/// The lengths of "1.1.1.1" and "255.255.255.255".
constexpr std::size_t kShortestAddress = 7;
constexpr std::size_t kLongestAddress = 15;

bool LooksLikeAddress(std::wstring_view host) {
  return host.size() >= kShortestAddress && host.size() <= kLongestAddress &&
         platform::ParseIpv4(host) != platform::kNoAddress;
}

}  // namespace

template <typename Find>
HRESULT CKelLanSeek::LookUp(ULONG* lanSeekID, const wchar_t* notFoundMessage, Find&& find, int line) {
  const std::uint32_t found = find(CtrlTable::Access(table_));
  if (found == kNoCtrl) return Fail(KEL_E_NOT_FOUND, {notFoundMessage, line});
  *lanSeekID = found;
  return S_OK;
}

STDMETHODIMP CKelLanSeek::GetCtrlFromSystemID(BSTR systemID, ULONG* lanSeekID) {
  return Guarded([&]() -> HRESULT {
    if (lanSeekID == nullptr) return Fail(E_POINTER, kNullOutput);
    const std::wstring_view wanted = ViewOf(systemID);
    if (wanted.empty()) return Fail(E_INVALIDARG, kNoSystemID);
    return LookUp(lanSeekID, L"SystemID not found", [&](const CtrlTable::Access& table) {
      const auto records = table.AllByFoldedSystemID(wanted);
      // Only the first record counts: an unlisted one hides later ones.
      return records.empty() || !records.front()->published ? kNoCtrl : records.front()->lanSeekID;
    });
  });
}

STDMETHODIMP CKelLanSeek::GetCtrlFromIPAddress(BSTR IPAddress, ULONG* lanSeekID) {
  return Guarded([&]() -> HRESULT {
    if (lanSeekID == nullptr) return Fail(E_POINTER, kNullOutput);
    const std::wstring wanted(ViewOf(IPAddress));
    if (wanted.empty()) return Fail(E_INVALIDARG, L"IPAddress empty");
    return LookUp(lanSeekID, L"IP-address not found", [&](const CtrlTable::Access& table) {
      for (const auto& record : table.AllByAddress(wanted)) {
        if (record->ctrlAddress != wanted) continue;
        return record->published && record->ctrlType != RemoteVC ? record->lanSeekID : kNoCtrl;
      }
      return kNoCtrl;
    });
  });
}

STDMETHODIMP CKelLanSeek::GetUnpublishedVCFromSystemID(BSTR sysid, ULONG* lanSeekID) {
  return Guarded([&]() -> HRESULT {
    if (lanSeekID == nullptr) return Fail(E_POINTER, L"");
    const std::wstring_view wanted = ViewOf(sysid);
    if (wanted.empty()) return Fail(E_INVALIDARG, kNoSystemID);
    return LookUp(lanSeekID, L"No unpublished VC found", [&](const CtrlTable::Access& table) {
      for (const auto& record : table.AllByFoldedSystemID(wanted)) {
        if (record->ctrlType == VC && !record->published) return record->lanSeekID;
      }
      return kNoCtrl;
    });
  });
}

STDMETHODIMP CKelLanSeek::GetCtrlFromURL(BSTR url, ULONG* lanSeekID) {
  return Guarded([&]() -> HRESULT {
    const HRESULT result = FindByURL(ViewOf(url), lanSeekID);
    return FAILED(result) ? diagnostics::PassError(*this, result, diagnostics::kComponentUnit) : result;
  });
}

HRESULT CKelLanSeek::FindByURL(std::wstring_view url, ULONG* lanSeekID) {
  if (!url.empty() && url.front() == L'/') url.remove_prefix(1);
  if (url.empty()) return Fail(E_INVALIDARG, L"Url is empty");
  const KelBstr host(url.substr(0, url.find(L'/')));
  return LooksLikeAddress(host.View()) ? GetCtrlFromIPAddress(host.Get(), lanSeekID)
                                       : GetCtrlFromSystemID(host.Get(), lanSeekID);
}

STDMETHODIMP CKelLanSeek::RefreshForID(ULONG lanSeekID) {
  return Guarded([&]() -> HRESULT {
    const HRESULT result = engine_.RefreshForID(lanSeekID);
    if (result == S_OK) return S_OK;
    return Fail(result, result == E_INVALIDARG ? L"LanSeekID too large" : L"LanSeekID no longer in use.");
  });
}

STDMETHODIMP CKelLanSeek::Ping() {
  return Guarded([&] { return Fail(E_NOTIMPL, L"Ping is not yet implemented"); });
}

STDMETHODIMP CKelLanSeek::AddRemoteController(BSTR ip, ULONG* lanSeekID) {
  return Guarded([&]() -> HRESULT {
    if (lanSeekID == nullptr) return Fail(E_POINTER, L"");
    const std::wstring address(ViewOf(ip));
    if (address.empty()) return Fail(E_INVALIDARG, L"");
    std::uint32_t added = 0;
    const HRESULT result = engine_.AddRemoteController(address, added);
    if (FAILED(result)) return Fail(result, L"");
    *lanSeekID = added;
    return result;
  });
}

}  // namespace kellanseek::component
