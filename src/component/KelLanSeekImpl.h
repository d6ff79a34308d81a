#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "component/ComponentEnvironment.h"
#include "component/ComponentModule.h"
#include "component/KelBase.h"
#include "config/LoadedFiles.h"
#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "diagnostics/Journal.h"
#include "diagnostics/KelObjectBase.h"
#include "diagnostics/Trace.h"
#include "diagnostics/UnitNames.h"
#include "engine/AddressWatch.h"
#include "engine/ControllerSeek.h"
#include "events/EventItemsDB.h"
#include "events/EventItemsWorker.h"

namespace kellanseek::component {

/// The component object. Owns the controller table, the engine, the subscriptions and the settings, and
/// answers client calls; see kellanseek/KelLanSeek.h for the methods. No exception leaves a method, and no
/// lock is held while a sink is called or released.
class CKelLanSeek final : public IKelCtrlIdentity3,
                          public IKelLanSeek2,
                          public IKelLanSeekSubscribe,
                          public IKelVCLanSeek2,
                          public IKelLanSeekConfig,
                          public IKelLanSeekDiagnostics,
                          public diagnostics::CKelObjectBase,
                          public CKelBase,
                          private engine::InterfaceChangeListener {
 public:
  /// Creates and starts an object, aggregated by `outer` unless that is null (`iid` must then be that of
  /// IUnknown). E_POINTER; CLASS_E_NOAGGREGATION; E_NOINTERFACE; E_OUTOFMEMORY; E_UNEXPECTED, with the reason
  /// traced, if the system has no event left. Errors in the configuration, and threads that the system
  /// refuses, are traced and do not fail the creation. `module` and the references in `environment` must
  /// outlive the object.
  static HRESULT Create(IUnknown* outer, REFIID iid, void** object, const ComponentEnvironment& environment,
                        ComponentModule& module) noexcept;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;

  STDMETHODIMP GetCtrlType(ULONG lanSeekID, KelCtrlType* pType) override;
  STDMETHODIMP GetCtrlIdentificationType(ULONG lanSeekID, LanSeekCtrlIdentificationType* pType) override;
  STDMETHODIMP GetCtrlStatus(ULONG lanSeekID, KelCtrlAvailability* pStatus) override;
  STDMETHODIMP GetCtrlName(ULONG lanSeekID, BSTR* pName) override;
  STDMETHODIMP GetCtrlID(ULONG lanSeekID, BSTR* pCtrlID) override;
  STDMETHODIMP GetCtrlAddress(ULONG lanSeekID, BSTR* pAddress) override;
  STDMETHODIMP GetSystemName(ULONG lanSeekID, BSTR* pSystemName) override;
  STDMETHODIMP GetReleasePath(ULONG lanSeekID, BSTR* pReleasePath) override;
  STDMETHODIMP GetSystemID(ULONG lanSeekID, BSTR* pSystemID) override;
  STDMETHODIMP GetHostName(ULONG lanSeekID, BSTR* pHostName) override;
  STDMETHODIMP GetControllerVersion(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor) override;
  STDMETHODIMP GetMacAddress(ULONG lanSeekID, BSTR* pMacAddress) override;
  STDMETHODIMP GetCommPortNumber(ULONG lanSeekID, ULONG* pPortNumber) override;
  STDMETHODIMP GetCtrlLevel(ULONG lanSeekID, KelCtrlLevel* pLevel) override;
  STDMETHODIMP GetControllerVersion2(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor,
                                     ULONG* pdwRevision) override;
  STDMETHODIMP GetKelAPICompatibilityRevision(ULONG lanSeekID, ULONG* pdwRevision) override;
  STDMETHODIMP GetVCInterface(ULONG lanSeekID, VCInterface* pVCInterface) override;
  STDMETHODIMP GetVCProcessID(ULONG lanSeekID, ULONG* pdwProcessID) override;
  STDMETHODIMP GetCtrlType3(ULONG lanSeekID, KelCtrlType* pType) override;

  STDMETHODIMP GetCtrlList(KelRetrievalParams* pRetPar, IKelEnumCtrlIdentity** ppCtrlIdentityEnum) override;
  STDMETHODIMP RefreshForID(ULONG lanSeekID) override;
  STDMETHODIMP GetCtrlFromSystemID(BSTR systemID, ULONG* lanSeekID) override;
  STDMETHODIMP GetCtrlFromIPAddress(BSTR IPAddress, ULONG* lanSeekID) override;
  STDMETHODIMP Ping() override;
  STDMETHODIMP UnpackSubscriptionData(VARIANT* pData, ULONG* pLanSeekID, KelCtrlAvailability* pStatus,
                                      LanSeekEventReason* pReason) override;
  STDMETHODIMP GetCtrlFromURL(BSTR url, ULONG* lanSeekID) override;
  STDMETHODIMP GetUnpublishedVCList(KelRetrievalParams* pRetPar,
                                    IKelEnumCtrlIdentity** ppCtrlIdentityEnum) override;
  STDMETHODIMP GetUnpublishedVCFromSystemID(BSTR sysid, ULONG* lanSeekID) override;

  STDMETHODIMP Subscribe(KelEventParams* pRep, ULONG* cookie) override;
  STDMETHODIMP Unsubscribe(ULONG dw) override;

  STDMETHODIMP Register(BSTR systemPath, BSTR systemID, ULONG dwProcID, VCInterface* pvci) override;
  STDMETHODIMP UnRegister(BSTR systemID) override;
  STDMETHODIMP ForwardMessage(BSTR msg) override;
  STDMETHODIMP Register2(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                         RemoteVCPublication remotePublication, VCInterface* pvci) override;
  STDMETHODIMP PreUnRegister(BSTR systemID) override;

  STDMETHODIMP AddRemoteController(BSTR ip, ULONG* lanSeekID) override;

  STDMETHODIMP GetReport(BSTR* pReport) override;
  STDMETHODIMP GetSweeps(ULONG* pSweeps) override;

 private:
  /// The IUnknown that an aggregating object holds. It counts this object's own references and returns its
  /// interfaces; all other interfaces delegate to the aggregating object.
  class InnerUnknown : public IUnknown {
   public:
    explicit InnerUnknown(CKelLanSeek& owner) : owner_(owner) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return owner_.QueryOwn(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddOwnRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.ReleaseOwn(); }

   private:
    CKelLanSeek& owner_;
  };

  /// Result of reading a record, with the message of a failure.
  struct ReadOutcome {
    HRESULT result = S_OK;
    const wchar_t* message = L"";
  };

  CKelLanSeek(IUnknown* outer, const ComponentEnvironment& environment, ComponentModule& module);
  ~CKelLanSeek() override = default;

  HRESULT QueryOwn(REFIID iid, void** object);
  IUnknown* FindInterface(REFIID iid);
  ULONG AddOwnRef();
  ULONG ReleaseOwn();
  /// Stops and destroys the object. Does nothing in a process other than the creator's.
  void Destroy() noexcept;
  /// Runs the destruction on a thread of its own, because the receiver thread cannot wait for its own end.
  void DestroyElsewhere() noexcept;

  void FinalConstruct();
  /// Stops the threads and deletes the object.
  void FinalRelease();
  void Configure();
  void AddStaticControllers(std::vector<controllers::CtrlInfo> controllers);
  void OnInterfacesChanged() override;

  // An error text names a line of the method that the client called, so shared helpers take the line of their
  // caller in the defaulted parameter `line`.

  /// Runs the body of a method and converts exceptions to failures.
  template <typename Body>
  HRESULT Guarded(Body&& body, int line = __builtin_LINE()) noexcept {
    try {
      return body();
    } catch (const std::bad_alloc&) {
      return ReportCaught(E_OUTOFMEMORY, line);
    } catch (...) {
      return ReportCaught(E_UNEXPECTED, line);
    }
  }
  HRESULT ReportCaught(HRESULT result, int line) noexcept;

  /// Stores a failure with its message and the caller's line. Returns `result`.
  HRESULT Fail(HRESULT result, diagnostics::ErrorMessage message) {
    return diagnostics::ReportError(*this, result, diagnostics::kComponentUnit, message);
  }

  /// The common form of all queries. Calls `read` with the controller's record, under the table lock, or
  /// `gone` if the controller no longer exists. Both return a ReadOutcome.
  template <typename Read, typename Gone>
  HRESULT ReadRecord(ULONG lanSeekID, Read&& read, Gone&& gone, int line = __builtin_LINE());
  /// Reads one field unchanged.
  template <typename Output, typename Part, typename Field>
  HRESULT ReadValue(ULONG lanSeekID, Output* output, Field Part::*field, const wchar_t* nullMessage,
                    const wchar_t* goneMessage, int line = __builtin_LINE());
  template <typename Part, typename Text>
  HRESULT ReadText(ULONG lanSeekID, BSTR* output, Text Part::*field, const wchar_t* nullMessage = L"",
                   int line = __builtin_LINE());

  /// A number that a controller may not have reported, and its destination.
  struct VersionPart {
    ULONG* output;
    std::uint32_t controllers::CtrlInfo::*field;
  };
  HRESULT ReadVersion(ULONG lanSeekID, std::initializer_list<VersionPart> parts,
                      const wchar_t* missingMessage, int line = __builtin_LINE());

  using Listed = bool (*)(const controllers::CtrlInfo& record);
  HRESULT ListCtrls(KelRetrievalParams* pRetPar, IKelEnumCtrlIdentity** ppCtrlIdentityEnum, Listed listed,
                    int line = __builtin_LINE());
  std::vector<AvailableCtrlsListItem> Snapshot(ULONG& mark, Listed listed);

  /// Looks up a controller. `find` is called under the table lock and returns the record's id, or 0 for none.
  template <typename Find>
  HRESULT LookUp(ULONG* lanSeekID, const wchar_t* notFoundMessage, Find&& find, int line = __builtin_LINE());
  HRESULT FindByURL(std::wstring_view url, ULONG* lanSeekID);
  HRESULT RemoveVC(BSTR systemID, bool keep, int line = __builtin_LINE());

  const ModuleLock moduleLock_;
  const std::uint32_t process_;  ///< The creator's.
  std::atomic<ULONG> references_{0};
  InnerUnknown inner_{*this};
  /// The object whose references and interfaces clients see: `inner_` unless aggregated.
  IUnknown* const controlling_;

  platform::RegistryStore& registry_;
  platform::NetworkAddresses& addresses_;
  diagnostics::Journal journal_;
  const diagnostics::Tracer trace_;
  controllers::CtrlTable table_;
  config::CKelLanSeekConfigSettings settings_;
  config::LoadedFiles files_;  ///< Written during the creation only.
  events::CEventItemsDB events_;
  engine::CControllerSeek engine_;
  events::CEventItemsWorker worker_;
};

}  // namespace kellanseek::component
