#include <new>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "component/KelLanSeekImpl.h"
#include "platform/GuardedCall.h"

namespace kellanseek::component {
namespace {

using controllers::CtrlInfo;

constexpr const wchar_t* kNoMessage = L"";
constexpr const wchar_t* kGone = L"LanSeekID no longer in use";
/// Three of the queries end the text with a full stop.
constexpr const wchar_t* kGoneStop = L"LanSeekID no longer in use.";
constexpr const wchar_t* kNotVC = L"Controller at LanSeekID is not a VC";
constexpr const wchar_t* kNoVersion = L"Controller version not available";

/// Copies a text to a BSTR; an empty text becomes a null BSTR.
BSTR CopyText(const std::wstring& text) { return text.empty() ? nullptr : KelBstr(text).Detach(); }
BSTR CopyText(const text::CompactText& text) {
  if (text.empty()) return nullptr;
  boost::container::small_vector<wchar_t, 64> wide(text.size(), boost::container::default_init);
  return KelBstr(text.CopyTo({wide.data(), wide.size()})).Detach();
}

/// Owns an identifier in task memory, to be freed by a client.
class TaskGuid {
 public:
  explicit TaskGuid(REFGUID guid) : guid_(static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)))) {
    if (guid_ == nullptr) throw std::bad_alloc();
    *guid_ = guid;
  }
  ~TaskGuid() { CoTaskMemFree(guid_); }
  TaskGuid(const TaskGuid&) = delete;
  TaskGuid& operator=(const TaskGuid&) = delete;

  GUID* Detach() { return std::exchange(guid_, nullptr); }

 private:
  GUID* guid_;
};

}  // namespace

template <typename Read, typename Gone>
HRESULT CKelLanSeek::ReadRecord(ULONG lanSeekID, Read&& read, Gone&& gone, int line) {
  const auto readGuarded = [&]() -> HRESULT {
    if (lanSeekID <= controllers::kLastReservedLanSeekID)
      return Fail(E_INVALIDARG, {L"lanSeekID <= 10", line});
    const auto look = [&]() -> ReadOutcome {
      const controllers::CtrlTable::Access table(table_);
      if (lanSeekID >= table.NextLanSeekID()) return {E_INVALIDARG, L"LanSeekID too large"};
      const controllers::CtrlTable::Record record = table.Find(lanSeekID);
      return record ? read(*record) : gone();
    };
    const ReadOutcome outcome = look();
    return outcome.result == S_OK ? S_OK : Fail(outcome.result, {outcome.message, line});
  };
  return Guarded(readGuarded, line);
}

template <typename Output, typename Part, typename Field>
HRESULT CKelLanSeek::ReadValue(ULONG lanSeekID, Output* output, Field Part::*field,
                               const wchar_t* nullMessage, const wchar_t* goneMessage, int line) {
  if (output == nullptr) return Guarded([&] { return Fail(E_POINTER, {nullMessage, line}); }, line);
  return ReadRecord(
      lanSeekID,
      [&](const CtrlInfo& record) {
        *output = record.*field;
        return ReadOutcome{};
      },
      [&] {
        return ReadOutcome{KEL_E_LANSEEKID_NOT_IN_USE, goneMessage};
      },
      line);
}

template <typename Part, typename Text>
HRESULT CKelLanSeek::ReadText(ULONG lanSeekID, BSTR* output, Text Part::*field, const wchar_t* nullMessage,
                              int line) {
  if (output == nullptr) return Guarded([&] { return Fail(E_POINTER, {nullMessage, line}); }, line);
  *output = nullptr;
  return ReadRecord(
      lanSeekID,
      [&](const CtrlInfo& record) {
        *output = CopyText(record.*field);
        return ReadOutcome{};
      },
      [] {
        return ReadOutcome{KEL_E_LANSEEKID_NOT_IN_USE, kGone};
      },
      line);
}

STDMETHODIMP CKelLanSeek::GetCtrlType(ULONG lanSeekID, KelCtrlType* pType) {
  const HRESULT result = GetCtrlType3(lanSeekID, pType);
  if (FAILED(result)) {
    return Guarded([&] { return diagnostics::PassError(*this, result, diagnostics::kComponentUnit); });
  }
  if (*pType == RemoteVC) *pType = static_cast<KelCtrlType>(settings_.FakeRemoteVCAs);
  return result;
}

STDMETHODIMP CKelLanSeek::GetCtrlIdentificationType(ULONG lanSeekID, LanSeekCtrlIdentificationType* pType) {
  return ReadValue(lanSeekID, pType, &CtrlInfo::identificationType, L"type == NULL", kGone);
}

STDMETHODIMP CKelLanSeek::GetCtrlStatus(ULONG lanSeekID, KelCtrlAvailability* pStatus) {
  if (pStatus == nullptr) return Guarded([&] { return Fail(E_POINTER, kNoMessage); });
  const auto answer = [&](KelCtrlAvailability status) {
    *pStatus = status;
    return ReadOutcome{};
  };
  return ReadRecord(
      lanSeekID, [&](const CtrlInfo& record) { return answer(record.ctrlStatus); },
      [&] { return answer(CtrlRemoved); });
}

STDMETHODIMP CKelLanSeek::GetCtrlName(ULONG lanSeekID, BSTR* pName) {
  return ReadText(lanSeekID, pName, &CtrlInfo::ctrlName);
}

STDMETHODIMP CKelLanSeek::GetCtrlID(ULONG lanSeekID, BSTR* pCtrlID) {
  return ReadText(lanSeekID, pCtrlID, &CtrlInfo::ctrlID);
}

STDMETHODIMP CKelLanSeek::GetCtrlAddress(ULONG lanSeekID, BSTR* pAddress) {
  return ReadText(lanSeekID, pAddress, &CtrlInfo::ctrlAddress);
}

STDMETHODIMP CKelLanSeek::GetSystemName(ULONG lanSeekID, BSTR* pSystemName) {
  return ReadText(lanSeekID, pSystemName, &CtrlInfo::systemName);
}

STDMETHODIMP CKelLanSeek::GetReleasePath(ULONG lanSeekID, BSTR* pReleasePath) {
  return ReadText(lanSeekID, pReleasePath, &CtrlInfo::releasePath);
}

STDMETHODIMP CKelLanSeek::GetSystemID(ULONG lanSeekID, BSTR* pSystemID) {
  return ReadText(lanSeekID, pSystemID, &CtrlInfo::systemID);
}

STDMETHODIMP CKelLanSeek::GetHostName(ULONG lanSeekID, BSTR* pHostName) {
  return ReadText(lanSeekID, pHostName, &CtrlInfo::hostName);
}

STDMETHODIMP CKelLanSeek::GetMacAddress(ULONG lanSeekID, BSTR* pMacAddress) {
  return ReadText(lanSeekID, pMacAddress, &CtrlInfo::macAddress, L"pMacAddress == NULL");
}

STDMETHODIMP CKelLanSeek::GetCommPortNumber(ULONG lanSeekID, ULONG* pPortNumber) {
  return ReadValue(lanSeekID, pPortNumber, &CtrlInfo::commPortNumber, L"pPortNumber == NULL", kGoneStop);
}

STDMETHODIMP CKelLanSeek::GetCtrlLevel(ULONG lanSeekID, KelCtrlLevel* pLevel) {
  return ReadValue(lanSeekID, pLevel, &CtrlInfo::ctrlLevel, kNoMessage, kGone);
}

STDMETHODIMP CKelLanSeek::GetCtrlType3(ULONG lanSeekID, KelCtrlType* pType) {
  return ReadValue(lanSeekID, pType, &CtrlInfo::ctrlType, kNoMessage, kGoneStop);
}

HRESULT CKelLanSeek::ReadVersion(ULONG lanSeekID, std::initializer_list<VersionPart> parts,
                                 const wchar_t* missingMessage, int line) {
  for (const VersionPart& part : parts) {
    if (part.output == nullptr) return Guarded([&] { return Fail(E_POINTER, {kNoMessage, line}); }, line);
  }
  const HRESULT result = ReadRecord(
      lanSeekID,
      [&](const CtrlInfo& record) {
        for (const VersionPart& part : parts) *part.output = record.*part.field;
        return ReadOutcome{};
      },
      [] {
        return ReadOutcome{KEL_E_LANSEEKID_NOT_IN_USE, kGone};
      },
      line);
  if (result != S_OK) return result;
  for (const VersionPart& part : parts) {
    if (*part.output != controllers::kVersionUnknown) continue;
    return Guarded([&] { return Fail(E_FAIL, {missingMessage, line}); }, line);
  }
  return S_OK;
}

STDMETHODIMP CKelLanSeek::GetControllerVersion(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor) {
  return ReadVersion(lanSeekID, {{pdwMajor, &CtrlInfo::versionMajor}, {pdwMinor, &CtrlInfo::versionMinor}},
                     kNoVersion);
}

STDMETHODIMP CKelLanSeek::GetControllerVersion2(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor,
                                                ULONG* pdwRevision) {
  return ReadVersion(lanSeekID,
                     {{pdwMajor, &CtrlInfo::versionMajor},
                      {pdwMinor, &CtrlInfo::versionMinor},
                      {pdwRevision, &CtrlInfo::versionRevision}},
                     kNoVersion);
}

STDMETHODIMP CKelLanSeek::GetKelAPICompatibilityRevision(ULONG lanSeekID, ULONG* pdwRevision) {
  return ReadVersion(lanSeekID, {{pdwRevision, &CtrlInfo::kelAPICompatibilityRevision}},
                     L"KelAPI compatibility revision not available");
}

STDMETHODIMP CKelLanSeek::GetVCInterface(ULONG lanSeekID, VCInterface* pVCInterface) {
  if (pVCInterface == nullptr) return Guarded([&] { return Fail(E_POINTER, kNoMessage); });
  *pVCInterface = {};
  return ReadRecord(
      lanSeekID,
      [&](const CtrlInfo& record) -> ReadOutcome {
        if (record.ctrlType != VC) return {E_INVALIDARG, kNotVC};
        IUnknown* const object = record.vcInterface.Get();
        if (object == nullptr) return {};
        TaskGuid riid(IID_KelVirtualController);
        if (!platform::RunGuarded([object] { object->AddRef(); }))
          return {E_UNEXPECTED, L"VC interface not valid, AddRef threw exception"};
        *pVCInterface = {riid.Detach(), object};
        return {};
      },
      [] {
        return ReadOutcome{KEL_E_LANSEEKID_NOT_IN_USE, kGone};
      });
}

STDMETHODIMP CKelLanSeek::GetVCProcessID(ULONG lanSeekID, ULONG* pdwProcessID) {
  if (pdwProcessID == nullptr) return Guarded([&] { return Fail(E_POINTER, kNoMessage); });
  return ReadRecord(
      lanSeekID,
      [&](const CtrlInfo& record) -> ReadOutcome {
        if (record.ctrlType != VC) return {E_INVALIDARG, kNotVC};
        *pdwProcessID = record.vcProcessID;
        return {};
      },
      [] {
        return ReadOutcome{KEL_E_LANSEEKID_NOT_IN_USE, kGoneStop};
      });
}

}  // namespace kellanseek::component
