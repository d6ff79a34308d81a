#pragma once

// The KelLanSeek component: a live list of the industrial controllers reachable from this host.
//
// A client creates an object of class CLSID_KelLanSeek and queries it for the interfaces below. The object
// finds controllers on the local networks by broadcast; others are configured or added by address, and
// virtual controllers on this host register themselves. Every controller gets a lanSeekID, a number above 10
// that is never reused; all other methods refer to the controller by it.
//
// The following holds for every method unless stated otherwise.
//
// Threads. Methods may be called from any thread at any time, including from inside a sink's Notify. Each
// call sees one controller in a consistent state; between two calls it may change or disappear. A call holds
// a lock for the duration of a look-up and never waits for the network or for other clients.
//
// Results. S_OK or a failure code. A failing method also stores an error text for IKelBase::GetLastErrorInfo;
// the quoted messages below are the beginnings of those texts. E_POINTER means that an output pointer is
// null.
//
// Ownership. A returned BSTR belongs to the caller, who frees it with SysFreeString; a null BSTR means that
// there is no text. A returned interface pointer carries a reference that the caller releases. Arguments
// remain the caller's.
//
// Lifetime. An object works by itself from its creation to the release of its last reference. That release
// stops it; it waits for a Notify running on another thread and for a reverse host name look-up in progress,
// which takes as long as the system's resolver allows. Objects in one process share nothing. On Windows the
// last release must not run inside DllMain: the object's threads need the loader lock to end, so the release
// would never return. An object holds a reference to each subscribed sink: a sink that holds a reference to
// the object keeps both alive until it is unsubscribed.
//
// Creation. Errors in the configuration are traced and do not fail the creation. Neither does a thread that
// the system refuses: the object works without it as far as possible, and a trace names the thread and the
// reason. Creation fails with E_OUTOFMEMORY, and with E_UNEXPECTED if the process has no descriptor (on
// Windows: no event) left for the object; the trace has the reason.
//
// Process. Each object runs up to six threads: requests, receiver, daemon of the virtual controllers, events,
// host names and, unless the settings turn it off, the watch for address changes. It installs no signal
// handler. Its threads block all signals except those of faults, so no handler of the application runs on
// them. On Linux it holds about ten descriptors and up to six more for each interface, which count against
// the process's limit; none survives exec. If a program lowers that limit below what one wait needs (two, and
// six for each interface), the object receives nothing meanwhile, which it traces; calls and the release work
// as before. A child created by fork has a copy of the object's memory but none of its threads. The child may
// only release its references to the object; the last release then destroys nothing and does not affect the
// parent's object.

#include <cstddef>

#include <kellanseek/com.h>

/// The component's class. Its ProgIDs are "KelLanSeek.KelLanSeek.1" and, independent of the version,
/// "KelLanSeek.KelLanSeek".
inline constexpr CLSID CLSID_KelLanSeek = KelGuid("2B474DCE-7759-49B8-B088-5A5DE5943E2F");
/// The component's type library, version 1.0.
inline constexpr GUID LIBID_KELLANSEEKLib = KelGuid("959E8B02-6B52-4115-A248-49DB1654166E");
/// The interface of every virtual controller's own object. Its methods are defined by that object.
inline constexpr IID IID_KelVirtualController = KelGuid("897AB146-832C-4B85-AD42-007B543A3708");

KEL_DECLARE_INTERFACE(IKelLanSeek, "E4BD1362-2395-447F-911F-0AC363E1E047");
KEL_DECLARE_INTERFACE(IKelLanSeek2, "02E4B5F8-3213-444F-A858-4DDBC1515CFB");
KEL_DECLARE_INTERFACE(IKelLanSeekSubscribe, "FF10D6CA-325E-4FFC-853C-2504853DC5BF");
KEL_DECLARE_INTERFACE(IKelObjectEvents, "4DE7E747-CDAA-11D2-84F2-00C04F8EC595");
KEL_DECLARE_INTERFACE(IKelCtrlIdentity, "EEC43546-E81D-43DB-9E0E-30F5F44BF4A0");
KEL_DECLARE_INTERFACE(IKelCtrlIdentity2, "2E785E30-A5C5-4DF2-85AB-14A53C809C9A");
KEL_DECLARE_INTERFACE(IKelCtrlIdentity3, "BB9A431D-6205-4898-8CD3-3211F7B006A6");
KEL_DECLARE_INTERFACE(IKelBase, "26A204EF-F464-4335-A8F0-571ED54EC764");
KEL_DECLARE_INTERFACE(IKelVCLanSeek, "CCC9AE59-B4CD-41DD-8515-F23F74D7F87D");
KEL_DECLARE_INTERFACE(IKelVCLanSeek2, "72219F4C-9C71-4439-B1FC-19F0DF72025A");
KEL_DECLARE_INTERFACE(IKelLanSeekConfig, "0DCFDA8B-286D-4FF4-80E9-DBD409888DE5");
KEL_DECLARE_INTERFACE(IKelEnumCtrlIdentity, "590B17DF-1938-43C9-8C07-80F7E67A281B");
KEL_DECLARE_INTERFACE(IKelLanSeekDiagnostics, "6E0B1C52-9C8F-4D0B-9B52-8C5D1E0B7A41");

/// The lanSeekID was issued, but its controller no longer exists.
inline constexpr HRESULT KEL_E_LANSEEKID_NOT_IN_USE = static_cast<HRESULT>(0xC0040412U);
/// No controller matches the look-up.
inline constexpr HRESULT KEL_E_NOT_FOUND = static_cast<HRESULT>(0xC0040411U);
/// A known controller already has the virtual controller's system identity.
inline constexpr HRESULT KEL_E_SYSTEMID_PRESENT = static_cast<HRESULT>(0xC0040703U);
/// Success: the added address belongs to a controller found on the network.
inline constexpr HRESULT KEL_S_ALREADY_DYNAMIC = static_cast<HRESULT>(0x00040401U);
/// Success: the added address belongs to a controller that was configured or added earlier.
inline constexpr HRESULT KEL_S_ALREADY_CONFIGURED = static_cast<HRESULT>(0x00040402U);

enum KelCtrlType : INT {
  RC = 1,        ///< A real controller.
  VC = 2,        ///< A virtual controller on this host.
  RemoteVC = 3,  ///< A virtual controller published by another host.
};

/// How a controller became known.
enum LanSeekCtrlIdentificationType : INT {
  StaticCtrlDefinition = 1,   ///< From the static controller file.
  DynamicCtrlDefinition = 2,  ///< Found on the network, or registered on this host.
  RemoteCtrlDefinition = 3,   ///< Added by address.
};

enum KelCtrlAvailability : INT {
  CtrlAvailable = 1,
  /// A silent controller that is configured or was added: not listed, but its lanSeekID stays in use and it
  /// returns under it.
  CtrlUnavailable = 2,
  /// Removed for good, and its lanSeekID is no longer in use. Exception: after PreUnRegister the lanSeekID
  /// stays in use until UnRegister.
  CtrlRemoved = 3,
};

enum KelCtrlLevel : INT {
  SystemLevel = 1,  ///< Its system is running.
  BootLevel = 2,    ///< Only its boot program is running.
};

/// The reason for an event. A loss is reported with CtrlUnavailable for a controller that is configured or
/// was added, because it may return, and with CtrlRemoved for any other. "A new controller follows" means:
/// the same controller, under a new lanSeekID.
enum LanSeekEventReason : INT {
  /// The controller became known. Also a virtual controller that reports again after PreUnRegister.
  CtrlNew = 0,
  /// A property returned by the getters has changed, possibly the host name. With CtrlRemoved or
  /// CtrlUnavailable: the record was replaced by one of the same controller, found over another path.
  CtrlUpdated = 1,
  /// The controller no longer answers, or the process of a virtual controller on this host has ended. Also a
  /// remote virtual controller whose device appeared at another address; a new controller follows.
  CtrlLostConnection = 2,
  CtrlLostLAN = 3,  ///< The network interface on which the controller was found is gone.
  /// The controller announced a restart. Also a controller whose device appeared with another address, system
  /// identity or port, as after a restart; a new controller follows.
  CtrlLostRestart = 4,
  CtrlLostPowerDown =
      5,  ///< The controller announced its shutdown, or was withdrawn by UnRegister or PreUnRegister.
  CtrlLostSystemIdCollision = 6,   ///< Another controller has the same system identity.
  CtrlLostIPAddressCollision = 7,  ///< Another controller has the same address.
  /// The controller answers again. Also the first answer of one that is configured or was added, in place of
  /// CtrlNew. The value 8 is not used.
  CtrlReconnected = 9,
};

/// The content of a subscription's events. Only Data is supported.
enum KelContainData : INT {
  Data = 0,
  NoData = 1,
  BinaryData = 2,
};

/// Whether a virtual controller is published to other hosts.
enum RemoteVCPublication : INT {
  RemoteVCPublication_False = 0,
  RemoteVCPublication_True = 1,
};

/// The object of a virtual controller.
struct VCInterface {
  GUID* vc_riid;  ///< The type of `pVC`. If returned, the caller frees it with CoTaskMemFree.
  IUnknown* pVC;  ///< If returned, the caller releases it.
};

/// Reserved, neither read nor written.
struct KelRetrievalCursor {
  ULONG cursor[4];
};

/// In: the range of controllers to list. Out: the range listed.
struct KelRetrievalParams {
  ULONG mark;                 ///< In: list only greater lanSeekIDs. Out: the greatest of those, if any.
  KelRetrievalCursor cursor;  ///< Reserved.
  LONG noOfElts;              ///< In: must be -2. Out: the number of controllers listed.
  LONG bLast;                 ///< Out: 1, there are no further pages.
};

struct AvailableCtrlsListItem {
  ULONG lanSeekID;
};

/// The parameters of a subscription.
struct KelEventParams {
  GUID* riid;                  ///< Ignored.
  IUnknown* pSink;             ///< The client's sink, which must support IKelObjectEvents.
  ULONG subscriptionType;      ///< 0 for all controllers, or the lanSeekID of a single one.
  ULONG pollTime;              ///< Ignored.
  ULONG userDef;               ///< A value of the client's choice, returned in every event.
  KelContainData containData;  ///< Must be Data.
};

/// An event, valid only during Notify. A sink must copy what it keeps, in particular the text in `data`.
struct KelObjectEvent {
  ULONG userDef;    ///< The subscriber's own value.
  ULONG reserved1;  ///< 0.
  VARIANT data;     ///< VT_BSTR "%d;%d;%d;": lanSeekID, KelCtrlAvailability, LanSeekEventReason.
  FILETIME time;    ///< The time of delivery, in the host's local time (not UTC).
  ULONG reserved2;  ///< 0.
  ULONG reserved3;  ///< 0.
};

static_assert(sizeof(KelRetrievalParams) == 28 && offsetof(KelRetrievalParams, cursor) == 4 &&
              offsetof(KelRetrievalParams, noOfElts) == 20 && offsetof(KelRetrievalParams, bLast) == 24);
static_assert(sizeof(KelRetrievalCursor) == 16 && sizeof(AvailableCtrlsListItem) == 4);
static_assert(sizeof(void*) != 4 || (sizeof(VCInterface) == 8 && offsetof(VCInterface, pVC) == 4));
static_assert(sizeof(void*) != 4 ||
              (sizeof(KelEventParams) == 24 && offsetof(KelEventParams, pSink) == 4 &&
               offsetof(KelEventParams, subscriptionType) == 8 && offsetof(KelEventParams, pollTime) == 12 &&
               offsetof(KelEventParams, userDef) == 16 && offsetof(KelEventParams, containData) == 20));
static_assert(sizeof(void*) != 4 ||
              (sizeof(KelObjectEvent) == 40 && offsetof(KelObjectEvent, data) == 8 && sizeof(VARIANT) == 16 &&
               offsetof(KelObjectEvent, time) == 24 && offsetof(KelObjectEvent, reserved2) == 32 &&
               offsetof(KelObjectEvent, reserved3) == 36));
static_assert(sizeof(KelObjectEvent) == sizeof(VARIANT) + 24);

/// A snapshot of the list of lanSeekIDs. It holds numbers only, and a controller may be gone by the time a
/// client queries it. It may outlive the component object. Not thread-safe; its methods leave no text for
/// GetLastErrorInfo.
struct IKelEnumCtrlIdentity : IUnknown {
  /// Copies up to `cElems` items to `prgElems`, starting at the current position, advances the position, and
  /// stores their number in `pcFetched`, which may be null if `cElems` is 1. Returns S_OK if all were
  /// available, S_FALSE if fewer; E_POINTER; E_FAIL if the list was never filled.
  virtual HRESULT STDMETHODCALLTYPE RemNext(ULONG cElems, AvailableCtrlsListItem* prgElems,
                                            ULONG* pcFetched) = 0;
  /// Advances the position by `cElems` items. If the end comes first, stops there and returns S_FALSE.
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cElems) = 0;
  /// Returns to the first item.
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  /// Creates an independent copy with the same items and position. E_POINTER, E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE Clone(IKelEnumCtrlIdentity** ppenum) = 0;
  /// Accept any mode and do nothing: a client sorts and filters the items it has read.
  virtual HRESULT STDMETHODCALLTYPE Sort(INT mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE Filter(INT mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnFilter() = 0;
};

/// The list of controllers, and look-ups. A look-up finds only listed controllers, that is, those reported to
/// clients. It stops at the first record with the address or identity: an unlisted controller, such as a
/// silent one from the file, hides a listed one that became known later.
struct IKelLanSeek : IUnknown {
  /// Lists the controllers with lanSeekIDs above `pRetPar->mark`, in the order in which they became known.
  /// The returned mark makes the next call list only newer ones. E_POINTER; E_INVALIDARG "Only RetrieveAll
  /// supported" if `noOfElts` is not -2; E_OUTOFMEMORY. On failure `*ppCtrlIdentityEnum` is null.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlList(KelRetrievalParams* pRetPar,
                                                IKelEnumCtrlIdentity** ppCtrlIdentityEnum) = 0;
  /// Requests an answer from the controller now instead of after its refresh interval. Returns at once;
  /// changes arrive as events. Does nothing and returns S_OK if the controller is already being asked, is not
  /// available, or is virtual on this host. E_INVALIDARG "LanSeekID too large" for a lanSeekID that was never
  /// issued; KEL_E_LANSEEKID_NOT_IN_USE "LanSeekID no longer in use.".
  virtual HRESULT STDMETHODCALLTYPE RefreshForID(ULONG lanSeekID) = 0;
  /// Finds a controller by its system identity. The case of the letters A to Z is ignored. E_POINTER
  /// "lanSeekID == NULL"; E_INVALIDARG "SystemID is NULL or have length 0"; KEL_E_NOT_FOUND "SystemID not
  /// found".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromSystemID(BSTR systemID, ULONG* lanSeekID) = 0;
  /// Finds a controller by its address, compared as text: "010.0.0.1" is not "10.0.0.1". Never finds a
  /// virtual controller of another host. E_POINTER "lanSeekID == NULL"; E_INVALIDARG "IPAddress empty";
  /// KEL_E_NOT_FOUND "IP-address not found".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromIPAddress(BSTR IPAddress, ULONG* lanSeekID) = 0;
  /// Not supported: returns E_NOTIMPL "Ping is not yet implemented".
  virtual HRESULT STDMETHODCALLTYPE Ping() = 0;
  /// Splits the text of an event's `data` into its three numbers, which are not validated. E_POINTER
  /// "pLanSeekID == NULL", "pStatus == NULL", "pReason == NULL"; E_INVALIDARG "pData == NULL"; E_FAIL
  /// "Invalid VARIANT" for anything except a non-empty VT_BSTR, "Invalid argument" for a text with fewer than
  /// three numbers (the outputs may have changed).
  virtual HRESULT STDMETHODCALLTYPE UnpackSubscriptionData(VARIANT* pData, ULONG* pLanSeekID,
                                                           KelCtrlAvailability* pStatus,
                                                           LanSeekEventReason* pReason) = 0;
  /// Finds a controller by "host", "/host", "host/anything" or "/host/anything", where the host is an address
  /// or a system identity. E_INVALIDARG "Url is empty"; otherwise as GetCtrlFromIPAddress and
  /// GetCtrlFromSystemID.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromURL(BSTR url, ULONG* lanSeekID) = 0;
};

/// Adds access to the virtual controllers of this host that have registered but are not, or no longer,
/// listed.
struct IKelLanSeek2 : IKelLanSeek {
  /// Like GetCtrlList, for those virtual controllers only.
  virtual HRESULT STDMETHODCALLTYPE GetUnpublishedVCList(KelRetrievalParams* pRetPar,
                                                         IKelEnumCtrlIdentity** ppCtrlIdentityEnum) = 0;
  /// Like GetCtrlFromSystemID, for those virtual controllers only. E_POINTER; E_INVALIDARG "SystemID is NULL
  /// or have length 0"; KEL_E_NOT_FOUND "No unpublished VC found".
  virtual HRESULT STDMETHODCALLTYPE GetUnpublishedVCFromSystemID(BSTR sysid, ULONG* lanSeekID) = 0;
};

/// A client's sink for events.
struct IKelObjectEvents : IUnknown {
  /// Called on the object's single event thread, never concurrently, with no lock held: the sink may call any
  /// method, including Unsubscribe and the last Release. All subscribers wait while it runs, so it should
  /// return soon. A failure code with bit 16 set ends the subscription. The codes of lost connections have
  /// that bit, but so have E_INVALIDARG, E_OUTOFMEMORY and E_ACCESSDENIED. Other failures, such as E_FAIL,
  /// are ignored. An exception from Notify counts as E_FAIL, except on 32-bit Windows in a sink built with
  /// MinGW: there a C++ exception cannot leave the module, and the sink's run-time library ends the process.
  /// On Windows an access violation or a stack overflow in Notify counts as E_FAIL too; on Linux they end the
  /// process.
  virtual HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) = 0;
};

/// Subscriptions to changes of controllers.
///
/// At most one event per subscriber and controller waits for delivery. A later change is merged into it, so a
/// subscriber receives the current state, not the history. While more than 65,536 events wait, a controller
/// that disappears before its CtrlNew was delivered is not reported at all.
///
/// Controllers listed before a subscription are not reported to it, so a client subscribes first and then
/// lists. When CtrlRemoved arrives, the getters no longer know the controller, so a client that wants to show
/// its name must have kept it.
struct IKelLanSeekSubscribe : IUnknown {
  /// Subscribes a sink and returns a cookie (10 or greater) for Unsubscribe. The sink is referenced until
  /// then. E_INVALIDARG "pRep->containData != Data", or "LanSeekID too large" for a `subscriptionType` that
  /// was never issued; E_POINTER "cookie == NULL", or for a null `pRep` or sink; the result of the sink's
  /// QueryInterface if it does not support IKelObjectEvents. If memory is exhausted, the result is still
  /// S_OK, with a cookie that refers to no subscription; only GetLastErrorInfo reports it.
  virtual HRESULT STDMETHODCALLTYPE Subscribe(KelEventParams* pRep, ULONG* cookie) = 0;
  /// Ends a subscription. Events already waiting may still reach the sink. E_FAIL "Subscriber not found".
  virtual HRESULT STDMETHODCALLTYPE Unsubscribe(ULONG dw) = 0;
};

/// The identity of a controller. All methods return E_POINTER, which is checked first; E_INVALIDARG
/// "lanSeekID <= 10" or "LanSeekID too large" for lanSeekIDs that were never issued;
/// KEL_E_LANSEEKID_NOT_IN_USE "LanSeekID no longer in use" for a controller that is gone. On failure texts
/// are null and other outputs unchanged.
struct IKelCtrlIdentity : IUnknown {
  /// Like GetCtrlType3, but reports a virtual controller of another host as VC (or RC, if so configured), for
  /// clients that know only these two types.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlType(ULONG lanSeekID, KelCtrlType* pType) = 0;
  /// How the controller became known. A controller added by address becomes dynamic when it is available and
  /// its address proves to be on a local network; one from the file never does. E_POINTER "type == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlIdentificationType(ULONG lanSeekID,
                                                              LanSeekCtrlIdentificationType* pType) = 0;
  /// For a controller that is gone, returns S_OK with CtrlRemoved.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlStatus(ULONG lanSeekID, KelCtrlAvailability* pStatus) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlName(ULONG lanSeekID, BSTR* pName) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlID(ULONG lanSeekID, BSTR* pCtrlID) = 0;
  /// The dotted IPv4 address; for a virtual controller on this host, the path of its system.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlAddress(ULONG lanSeekID, BSTR* pAddress) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSystemName(ULONG lanSeekID, BSTR* pSystemName) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetReleasePath(ULONG lanSeekID, BSTR* pReleasePath) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSystemID(ULONG lanSeekID, BSTR* pSystemID) = 0;
  /// From a reverse look-up of the address. Absent or empty until the look-up has succeeded.
  virtual HRESULT STDMETHODCALLTYPE GetHostName(ULONG lanSeekID, BSTR* pHostName) = 0;
  /// E_FAIL "Controller version not available" if the controller did not report its version; each missing
  /// number is then 0xFFFFFFFF.
  virtual HRESULT STDMETHODCALLTYPE GetControllerVersion(ULONG lanSeekID, ULONG* pdwMajor,
                                                         ULONG* pdwMinor) = 0;
  /// E_POINTER "pMacAddress == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetMacAddress(ULONG lanSeekID, BSTR* pMacAddress) = 0;
  /// The port on which the controller serves clients. E_POINTER "pPortNumber == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetCommPortNumber(ULONG lanSeekID, ULONG* pPortNumber) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlLevel(ULONG lanSeekID, KelCtrlLevel* pLevel) = 0;
  /// Like GetControllerVersion, with the revision.
  virtual HRESULT STDMETHODCALLTYPE GetControllerVersion2(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor,
                                                          ULONG* pdwRevision) = 0;
  /// E_FAIL "KelAPI compatibility revision not available", with 0xFFFFFFFF, if it was not reported.
  virtual HRESULT STDMETHODCALLTYPE GetKelAPICompatibilityRevision(ULONG lanSeekID, ULONG* pdwRevision) = 0;
  /// The object of a virtual controller on this host, with its interface identifier
  /// (IID_KelVirtualController). The caller releases the object and frees the identifier. Returns S_OK with
  /// both null if there is no object. E_INVALIDARG "Controller at LanSeekID is not a VC"; E_UNEXPECTED "VC
  /// interface not valid, AddRef threw exception".
  virtual HRESULT STDMETHODCALLTYPE GetVCInterface(ULONG lanSeekID, VCInterface* pVCInterface) = 0;
};

struct IKelCtrlIdentity2 : IKelCtrlIdentity {
  /// The process id of a virtual controller on this host. E_INVALIDARG "Controller at LanSeekID is not a VC".
  virtual HRESULT STDMETHODCALLTYPE GetVCProcessID(ULONG lanSeekID, ULONG* pdwProcessID) = 0;
};

struct IKelCtrlIdentity3 : IKelCtrlIdentity2 {
  /// The true type of the controller.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlType3(ULONG lanSeekID, KelCtrlType* pType) = 0;
};

struct IKelBase : IUnknown {
  /// The text of the object's last failure: the message, ":" and the place of detection; null if nothing has
  /// failed yet. All threads share one text per object: a later failure replaces it, while successes and
  /// reading leave it unchanged. Always returns S_OK; `pErrorText` must not be null.
  virtual HRESULT STDMETHODCALLTYPE GetLastErrorInfo(BSTR* pErrorText) = 0;
};

/// Registration of virtual controllers on this host.
struct IKelVCLanSeek : IUnknown {
  /// Like Register2, without publication.
  virtual HRESULT STDMETHODCALLTYPE Register(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                                             VCInterface* pvci) = 0;
  /// Removes the controller from the list and from the table. KEL_E_NOT_FOUND.
  virtual HRESULT STDMETHODCALLTYPE UnRegister(BSTR systemID) = 0;
  /// Handles a discovery message as if it had arrived from the network. A virtual controller uses it to
  /// answer. Returns S_OK even for malformed messages.
  virtual HRESULT STDMETHODCALLTYPE ForwardMessage(BSTR msg) = 0;
};

struct IKelVCLanSeek2 : IKelVCLanSeek {
  /// Registers a virtual controller. `systemPath` becomes its address. The object `pvci->pVC` is referenced,
  /// and `*pvci->vc_riid` must be IID_KelVirtualController. `dwProcID` is the process to watch: when it ends,
  /// the controller is removed. The controller is listed after its first message through ForwardMessage; with
  /// RemoteVCPublication_True it is then also published to other hosts on the local networks. E_INVALIDARG
  /// for a missing object, another interface, or no system identity; E_UNEXPECTED if the object cannot be
  /// referenced; KEL_E_SYSTEMID_PRESENT.
  virtual HRESULT STDMETHODCALLTYPE Register2(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                                              RemoteVCPublication remotePublication, VCInterface* pvci) = 0;
  /// First of the two steps that end a virtual controller: withdraws it from the list. The second step,
  /// UnRegister, sends no further event. In between, clients have received CtrlRemoved, but the lanSeekID
  /// stays in use, its getters answer, and its status is still CtrlAvailable; it is among the unpublished
  /// controllers, and another message of its own lists it again with CtrlNew. KEL_E_NOT_FOUND.
  virtual HRESULT STDMETHODCALLTYPE PreUnRegister(BSTR systemID) = 0;
};

struct IKelLanSeekConfig : IUnknown {
  /// Adds a controller that broadcasts do not reach by its dotted IPv4 address. It is asked by unicast and
  /// listed once it answers. Returns S_OK, or KEL_S_ALREADY_DYNAMIC or KEL_S_ALREADY_CONFIGURED with the
  /// existing lanSeekID if the controller is already known; E_POINTER; E_INVALIDARG for a text that is not an
  /// address.
  ///
  /// The lanSeekID stays in use, whether or not the controller answers, as long as only unicast reaches it.
  /// It goes out of use when the controller announces a restart or its shutdown, and when a silent controller
  /// answers on a local network, where it becomes a new controller. Once the controller has become dynamic,
  /// its lanSeekID is like that of any controller found on the network. If the setting NonLocalUpdatesEnabled
  /// is 0, or the component cleared it because it got no socket for unicast, the result is still S_OK, but
  /// the controller is never asked.
  virtual HRESULT STDMETHODCALLTYPE AddRemoteController(BSTR ip, ULONG* lanSeekID) = 0;
};

/// What the object knows about itself and its surroundings. Read-only and cheap.
struct IKelLanSeekDiagnostics : IUnknown {
  /// A JSON document that states the settings in force, the network interfaces and why each is used or left
  /// out, the threads, counters, and the history of every controller. Its members are those of
  /// docs/diagnostics.md; later versions only add to them. E_POINTER; E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE GetReport(BSTR* pReport) = 0;
  /// How often every interface, and every controller asked by address, has been asked and its time to answer
  /// has passed. From 1 on, the list is complete. E_POINTER.
  virtual HRESULT STDMETHODCALLTYPE GetSweeps(ULONG* pSweeps) = 0;
};
