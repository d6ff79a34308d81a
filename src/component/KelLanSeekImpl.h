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
#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "diagnostics/KelObjectBase.h"
#include "diagnostics/Trace.h"
#include "engine/AddressWatch.h"
#include "engine/ControllerSeek.h"
#include "events/EventItemsDB.h"
#include "events/EventItemsWorker.h"

namespace kellanseek {

/// The source unit that error texts and traces of the component object name.
inline constexpr const wchar_t* kKelLanSeekUnit = L"KelLanSeekImpl";

/// The component object: owns the controller table, the engine, the subscriptions and the settings, and
/// answers the calls of clients. What the methods do is told in kellanseek/KelLanSeek.h. No exception leaves
/// a method, and no lock is held while a sink is called or released.
class CKelLanSeek final : public IKelCtrlIdentity3,
                          public IKelLanSeek2,
                          public IKelLanSeekSubscribe,
                          public IKelVCLanSeek2,
                          public IKelLanSeekConfig,
                          public diagnostics::CKelObjectBase,
                          public CKelBase,
                          private engine::InterfaceChangeListener {
 public:
  /// Creates and starts an object, inside the controlling object `outer` where that is not null (then `iid`
  /// is that of IUnknown). E_POINTER; CLASS_E_NOAGGREGATION; E_NOINTERFACE; E_OUTOFMEMORY;
  /// E_UNEXPECTED, with the reason traced, when the system has no event left. What is wrong with the
  /// configuration is traced and no failure, and so are threads that the system does not give. `module` and
  /// what `environment` refers to outlive the object.
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

 private:
  /// What an aggregating object holds: its references are those of this object itself, and so is its
  /// IUnknown. All other interfaces belong to the aggregating object.
  class InnerUnknown : public IUnknown {
   public:
    explicit InnerUnknown(CKelLanSeek& owner) : owner_(owner) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return owner_.QueryOwn(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return owner_.AddOwnRef(); }
    STDMETHODIMP_(ULONG) Release() override { return owner_.ReleaseOwn(); }

   private:
    CKelLanSeek& owner_;
  };

  /// How a read of a record went: its result, and the message of a failure.
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
  /// Stops and destroys the object; in another process than its maker's it does nothing.
  void Destroy() noexcept;
  /// Leaves the end to a thread of its own.
  void DestroyElsewhere() noexcept;

  void FinalConstruct();
  void FinalRelease();
  void Configure();
  void AddStaticControllers(std::vector<CtrlInfo> controllers);
  void OnInterfacesChanged() override;

  // An error text names a line of the method that the client called. So what several methods share takes the
  // line of its caller, as `line`, which callers leave out.

  /// Runs the body of a method and turns what it throws into a failure.
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

  /// Stores a failure with its message and the caller's line, and gives its result back.
  HRESULT Fail(HRESULT result, diagnostics::ErrorMessage message) {
    return diagnostics::ReportError(*this, result, kKelLanSeekUnit, message);
  }

  /// The way in which all queries read: `read` is handed the controller's record with the table locked;
  /// `gone` is asked instead when the controller is no longer known. Both give a ReadOutcome.
  template <typename Read, typename Gone>
  HRESULT ReadRecord(ULONG lanSeekID, Read&& read, Gone&& gone, int line = __builtin_LINE());
  /// Reads one field as it is.
  template <typename Output, typename Part, typename Field>
  HRESULT ReadValue(ULONG lanSeekID, Output* output, Field Part::*field, const wchar_t* nullMessage,
                    const wchar_t* goneMessage, int line = __builtin_LINE());
  HRESULT ReadText(ULONG lanSeekID, BSTR* output, std::wstring CtrlInfo::*field,
                   const wchar_t* nullMessage = L"", int line = __builtin_LINE());

  /// A number that a controller may not have reported, and where it goes.
  struct VersionPart {
    ULONG* output;
    std::uint32_t CtrlInfo::*field;
  };
  HRESULT ReadVersion(ULONG lanSeekID, std::initializer_list<VersionPart> parts,
                      const wchar_t* missingMessage, int line = __builtin_LINE());

  using Listed = bool (*)(const CtrlInfo& record);
  HRESULT ListCtrls(KelRetrievalParams* pRetPar, IKelEnumCtrlIdentity** ppCtrlIdentityEnum, Listed listed,
                    int line = __builtin_LINE());
  std::vector<AvailableCtrlsListItem> Snapshot(ULONG& mark, Listed listed);

  /// Looks a controller up: `find` is called with the table locked and gives the record's id, or 0 for none.
  template <typename Find>
  HRESULT LookUp(ULONG* lanSeekID, const wchar_t* notFoundMessage, Find&& find, int line = __builtin_LINE());
  HRESULT FindByURL(std::wstring_view url, ULONG* lanSeekID);
  HRESULT RemoveVC(BSTR systemID, bool keep, int line = __builtin_LINE());

  const ModuleLock moduleLock_;
  const std::uint32_t process_;  ///< The one that made the object.
  std::atomic<ULONG> references_{0};
  InnerUnknown inner_{*this};
  /// Whose references and interfaces the outside sees; the inner one's unless aggregated.
  IUnknown* const controlling_;

  platform::RegistryStore& registry_;
  const diagnostics::Tracer trace_;
  CtrlTable table_;
  CKelLanSeekConfigSettings settings_;
  events::CEventItemsDB events_;
  engine::CControllerSeek engine_;
  events::CEventItemsWorker worker_;
};

}  // namespace kellanseek
