#pragma once

// The KelLanSeek component: a live list of the industrial controllers that can be reached from this host.
//
// A client creates the class CLSID_KelLanSeek and asks the object for the interfaces below. Controllers on
// the local networks are found by broadcast, others are configured or added by address, and virtual
// controllers on this host register themselves. Every controller that becomes known gets a lanSeekID, a
// number above 10 that is issued once and never again; all else about the controller is asked for by that
// number.
//
// Holds for every method unless it says otherwise:
//
// Threads. Any method may be called on any thread at any time, also from inside a sink's Notify. Each call
// sees one consistent controller; between two calls a controller may change or go. Calls take a lock for the
// time of a look-up and wait for neither the network nor other clients.
//
// Results. S_OK, or a failure code. A failing method also leaves a text for IKelBase::GetLastErrorInfo; the
// messages given here in quotes are how it begins. E_POINTER stands for a null output pointer.
//
// Ownership. A text that comes out is a new BSTR that the caller frees with SysFreeString; a null BSTR is an
// absent text. An interface pointer that comes out holds a reference that the caller releases. What goes in
// stays the caller's.
//
// Life. An object works from its creation to the release of its last reference, without being asked: that
// release stops it, and waits for a Notify that is running on another thread and for a reverse look-up of a
// host name under way, which takes as long as the system's resolver waits for an answer. The objects of one
// process share nothing. On Windows the last release must not run inside DllMain: the threads it waits for
// need the loader lock to end, so it would wait for ever. An object holds the sinks of its subscriptions: a
// sink that itself holds a reference to the object keeps both alive until it is unsubscribed.
//
// Creation. What is wrong with the configuration is traced and no failure. So is a thread that the system
// does not give: the object works without it as far as it can, and the trace says which thread is missing and
// why. Creation fails with E_OUTOFMEMORY, and with E_UNEXPECTED when the process has no descriptor (on
// Windows: no event) left for the object; the trace has the reason.
//
// Process. Each object runs up to six threads: requests, receiver, daemon of virtual controllers, events,
// host names, and the watch for changed addresses unless the settings turn that off. It installs no signal
// handler. Its threads block all signals but those of faults, so no handler of the application runs on them.
// On Linux it holds some ten descriptors, and up to six more for each interface, which count against the
// process's limit; none survives exec. A child made by fork has the object's memory and none of its threads.
// There the inherited object can be released and no more: its last release lets go of it without destroying
// anything, and does not touch the parent's object.

#include <cstddef>

#include <kellanseek/com.h>

/// The class. Its ProgIDs are "KelLanSeek.KelLanSeek.1" and, whatever the version, "KelLanSeek.KelLanSeek".
inline constexpr CLSID CLSID_KelLanSeek = KelGuid("2B474DCE-7759-49B8-B088-5A5DE5943E2F");
/// Its type library, version 1.0.
inline constexpr GUID LIBID_KELLANSEEKLib = KelGuid("959E8B02-6B52-4115-A248-49DB1654166E");
/// The interface that every virtual controller's own object offers. What is in it is that object's affair.
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

/// The lanSeekID was issued, but its controller is no longer known.
inline constexpr HRESULT KEL_E_LANSEEKID_NOT_IN_USE = static_cast<HRESULT>(0xC0040412U);
/// No controller answers the look-up.
inline constexpr HRESULT KEL_E_NOT_FOUND = static_cast<HRESULT>(0xC0040411U);
/// A virtual controller's system identity is already that of a known controller.
inline constexpr HRESULT KEL_E_SYSTEMID_PRESENT = static_cast<HRESULT>(0xC0040703U);
/// Success: the added address is that of a controller found on the network.
inline constexpr HRESULT KEL_S_ALREADY_DYNAMIC = static_cast<HRESULT>(0x00040401U);
/// Success: the added address is that of a controller that was configured or added before.
inline constexpr HRESULT KEL_S_ALREADY_CONFIGURED = static_cast<HRESULT>(0x00040402U);

enum KelCtrlType : INT {
  RC = 1,        ///< A real controller.
  VC = 2,        ///< A virtual controller on this host.
  RemoteVC = 3,  ///< A virtual controller that another host publishes.
};

/// How a controller became known.
enum LanSeekCtrlIdentificationType : INT {
  StaticCtrlDefinition = 1,   ///< From the file of static controllers.
  DynamicCtrlDefinition = 2,  ///< Found on the network, or registered on this host.
  RemoteCtrlDefinition = 3,   ///< Added by address.
};

enum KelCtrlAvailability : INT {
  CtrlAvailable = 1,
  /// Configured or added, and silent: not listed, but its lanSeekID stays in use and it comes back under it.
  CtrlUnavailable = 2,
  /// Off the list for good, and its lanSeekID out of use; only PreUnRegister leaves that in use a while
  /// longer.
  CtrlRemoved = 3,
};

enum KelCtrlLevel : INT {
  SystemLevel = 1,  ///< Runs its system.
  BootLevel = 2,    ///< Runs its boot program only.
};

/// Why an event was sent. A loss comes with CtrlUnavailable for a controller that is configured or added,
/// which may come back, and with CtrlRemoved for any other. Where a loss is said to be followed by a new
/// controller, that is the same one under a new lanSeekID.
enum LanSeekEventReason : INT {
  /// Became known. Also a virtual controller that reports again after PreUnRegister.
  CtrlNew = 0,
  /// Something that the getters give has changed, the host name included. With CtrlRemoved or
  /// CtrlUnavailable:
  /// it gave way to the same controller, seen over another path.
  CtrlUpdated = 1,
  /// No longer answers; for a virtual controller on this host: its process has ended. Also a remote virtual
  /// controller whose device turned up at another address; a new controller follows.
  CtrlLostConnection = 2,
  CtrlLostLAN = 3,  ///< The network interface over which it was heard is gone.
  /// Announced a restart. Also a controller whose device turned up with another address, system identity or
  /// port, as after a restart; a new controller follows.
  CtrlLostRestart = 4,
  CtrlLostPowerDown = 5,           ///< Announced its end, or was taken back by UnRegister or PreUnRegister.
  CtrlLostSystemIdCollision = 6,   ///< Another controller has its system identity.
  CtrlLostIPAddressCollision = 7,  ///< Another controller has its address.
  /// Answers again. Also the first answer of one that is configured or added, in place of CtrlNew. There is
  /// no
  /// 8.
  CtrlReconnected = 9,
};

/// What the events of a subscription carry. Only Data is offered.
enum KelContainData : INT {
  Data = 0,
  NoData = 1,
  BinaryData = 2,
};

/// Whether other hosts are told of a virtual controller.
enum RemoteVCPublication : INT {
  RemoteVCPublication_False = 0,
  RemoteVCPublication_True = 1,
};

/// A virtual controller's own object.
struct VCInterface {
  GUID* vc_riid;  ///< The interface that `pVC` is. When it comes out, the caller frees it with CoTaskMemFree.
  IUnknown* pVC;  ///< When it comes out, the caller releases it.
};

/// Reserved; carried, but neither read nor written.
struct KelRetrievalCursor {
  ULONG cursor[4];
};

/// What to list, and what was listed.
struct KelRetrievalParams {
  ULONG mark;                 ///< In: only lanSeekIDs above this. Out: the greatest of those, if any.
  KelRetrievalCursor cursor;  ///< Reserved.
  LONG noOfElts;              ///< In: must be -2. Out: the number of controllers listed.
  LONG bLast;                 ///< Out: 1, there is no further page.
};

struct AvailableCtrlsListItem {
  ULONG lanSeekID;
};

/// A subscription.
struct KelEventParams {
  GUID* riid;                  ///< Not read.
  IUnknown* pSink;             ///< The client's sink; is asked for IKelObjectEvents.
  ULONG subscriptionType;      ///< 0 for all controllers, else the lanSeekID of the only one of interest.
  ULONG pollTime;              ///< Not read.
  ULONG userDef;               ///< The client's own value, which comes back in every event.
  KelContainData containData;  ///< Must be Data.
};

/// An event. It is valid while Notify runs; a sink copies what it keeps, the text in `data` above all.
struct KelObjectEvent {
  ULONG userDef;    ///< The subscriber's own value.
  ULONG reserved1;  ///< 0.
  VARIANT data;     ///< VT_BSTR "%d;%d;%d;" of lanSeekID, KelCtrlAvailability, LanSeekEventReason.
  FILETIME time;    ///< The host's local time (not UTC) of the delivery.
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

/// A list of lanSeekIDs, as it stood when it was made: it holds numbers only, and a controller on it may be
/// gone by the time it is asked about. It may outlive the component object. Its methods are for one thread at
/// a time and leave no text for GetLastErrorInfo.
struct IKelEnumCtrlIdentity : IUnknown {
  /// Copies up to `cElems` items from the current position to `prgElems` and moves past them. `pcFetched`
  /// gets their number; it may be null when `cElems` is 1. S_OK when there were as many as asked for, S_FALSE
  /// when there were fewer; E_POINTER; E_FAIL when the object was never filled.
  virtual HRESULT STDMETHODCALLTYPE RemNext(ULONG cElems, AvailableCtrlsListItem* prgElems,
                                            ULONG* pcFetched) = 0;
  /// Moves past `cElems` items. S_FALSE when the end came first; the position is then the end.
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG cElems) = 0;
  /// Back to the start.
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  /// A second list with the same items and position, which moves on its own. E_POINTER, E_OUTOFMEMORY.
  virtual HRESULT STDMETHODCALLTYPE Clone(IKelEnumCtrlIdentity** ppenum) = 0;
  /// Are taken in any mode and change nothing: order and items stay. A client sorts and filters what it has
  /// read.
  virtual HRESULT STDMETHODCALLTYPE Sort(INT mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE Filter(INT mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnFilter() = 0;
};

/// The list of controllers, and ways to find one. A look-up finds listed controllers only, that is, those
/// that a client has been told of. It ends at the first controller that is known by the address or identity:
/// one that is not listed, such as a silent one from the file, hides a listed one that became known later.
struct IKelLanSeek : IUnknown {
  /// Lists the controllers above `pRetPar->mark`, in the order in which they became known. With the mark that
  /// comes back the next call lists only those that are newer. E_POINTER; E_INVALIDARG "Only RetrieveAll
  /// supported" when `noOfElts` is not -2; E_OUTOFMEMORY. `*ppCtrlIdentityEnum` is null on failure.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlList(KelRetrievalParams* pRetPar,
                                                IKelEnumCtrlIdentity** ppCtrlIdentityEnum) = 0;
  /// Asks the controller for an answer now instead of after its refresh interval, and returns without waiting
  /// for it; news come as events. Does nothing, with S_OK, for one that is being asked already, is not
  /// available, or is virtual on this host. E_INVALIDARG "LanSeekID too large" for a number that was never
  /// issued; KEL_E_LANSEEKID_NOT_IN_USE "LanSeekID no longer in use.".
  virtual HRESULT STDMETHODCALLTYPE RefreshForID(ULONG lanSeekID) = 0;
  /// The controller with a system identity, whatever the case of its letters A to Z. E_POINTER "lanSeekID ==
  /// NULL"; E_INVALIDARG "SystemID is NULL or have length 0"; KEL_E_NOT_FOUND "SystemID not found".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromSystemID(BSTR systemID, ULONG* lanSeekID) = 0;
  /// The controller at an address, compared as text: "010.0.0.1" is not "10.0.0.1". Never a virtual
  /// controller of another host. E_POINTER "lanSeekID == NULL"; E_INVALIDARG "IPAddress empty";
  /// KEL_E_NOT_FOUND "IP-address not found".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromIPAddress(BSTR IPAddress, ULONG* lanSeekID) = 0;
  /// Not offered: E_NOTIMPL "Ping is not yet implemented".
  virtual HRESULT STDMETHODCALLTYPE Ping() = 0;
  /// Takes the text of an event's `data` apart. The numbers come out as they stand there. E_POINTER
  /// "pLanSeekID == NULL", "pStatus == NULL", "pReason == NULL"; E_INVALIDARG "pData == NULL"; E_FAIL
  /// "Invalid VARIANT" for anything but a VT_BSTR with a text, "Invalid argument" for a text with fewer than
  /// three numbers (outputs may have changed).
  virtual HRESULT STDMETHODCALLTYPE UnpackSubscriptionData(VARIANT* pData, ULONG* pLanSeekID,
                                                           KelCtrlAvailability* pStatus,
                                                           LanSeekEventReason* pReason) = 0;
  /// The controller that "host", "/host", "host/anything" or "/host/anything" names, the host being an
  /// address or a system identity. E_INVALIDARG "Url is empty"; else as GetCtrlFromIPAddress and
  /// GetCtrlFromSystemID.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlFromURL(BSTR url, ULONG* lanSeekID) = 0;
};

/// With the virtual controllers of this host that have registered but are not listed yet, or no longer.
struct IKelLanSeek2 : IKelLanSeek {
  /// As GetCtrlList, for those only.
  virtual HRESULT STDMETHODCALLTYPE GetUnpublishedVCList(KelRetrievalParams* pRetPar,
                                                         IKelEnumCtrlIdentity** ppCtrlIdentityEnum) = 0;
  /// As GetCtrlFromSystemID, among those only. E_POINTER; E_INVALIDARG "SystemID is NULL or have length 0";
  /// KEL_E_NOT_FOUND "No unpublished VC found".
  virtual HRESULT STDMETHODCALLTYPE GetUnpublishedVCFromSystemID(BSTR sysid, ULONG* lanSeekID) = 0;
};

/// A client's sink.
struct IKelObjectEvents : IUnknown {
  /// Called on the one event thread of the component object, never twice at a time, with no lock held: the
  /// sink may call anything, Unsubscribe and the last Release included. While it runs all subscribers wait,
  /// so it is brief. A subscription whose sink answers a failure with bit 16 set is ended: that is so in the
  /// codes of lost connections, but in E_INVALIDARG, E_OUTOFMEMORY and E_ACCESSDENIED too. Other failures,
  /// such as E_FAIL, are passed over. An exception out of Notify counts as E_FAIL, with one exception: on
  /// 32-bit Windows a C++ exception cannot leave a module that was built with MinGW, so there the run-time
  /// library of such a sink ends the process.
  virtual HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) = 0;
};

/// Subscriptions to the changes of controllers. A subscriber has at most one event waiting for each
/// controller: a later change is merged into it, so that what arrives is the news, not the history. While
/// more than 65,536 events wait, a controller that goes before its CtrlNew was delivered is not mentioned at
/// all. A subscriber hears nothing of the controllers that were listed before it came: a client subscribes
/// first and lists then. When CtrlRemoved arrives, the getters know the controller no longer, so a client
/// that wants to name it keeps the name.
struct IKelLanSeekSubscribe : IUnknown {
  /// Subscribes, and gives a cookie (10 and up) for Unsubscribe. The sink is referenced until then.
  /// E_INVALIDARG "pRep->containData != Data", or "LanSeekID too large" for a `subscriptionType` that was
  /// never issued; E_POINTER "cookie == NULL", or for a null `pRep` or sink; what the sink answers when it is
  /// no IKelObjectEvents. When memory is out the result is S_OK all the same, with a cookie that names no
  /// subscription; only GetLastErrorInfo tells.
  virtual HRESULT STDMETHODCALLTYPE Subscribe(KelEventParams* pRep, ULONG* cookie) = 0;
  /// Ends a subscription. Events that are waiting already may still reach the sink. E_FAIL "Subscriber not
  /// found".
  virtual HRESULT STDMETHODCALLTYPE Unsubscribe(ULONG dw) = 0;
};

/// The identity of a controller. All methods: E_POINTER, before anything else; E_INVALIDARG "lanSeekID <= 10"
/// and "LanSeekID too large" for numbers that were never issued; KEL_E_LANSEEKID_NOT_IN_USE "LanSeekID no
/// longer in use" for a controller that is gone. Texts are null on failure, other outputs unchanged.
struct IKelCtrlIdentity : IUnknown {
  /// As GetCtrlType3, but with a virtual controller of another host given as VC (or RC, as configured), for
  /// clients that know only these two.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlType(ULONG lanSeekID, KelCtrlType* pType) = 0;
  /// How the controller became known. One that was added by address turns dynamic when it is available and
  /// its address turns out to be on a local network; one from the file never does. E_POINTER "type == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetCtrlIdentificationType(ULONG lanSeekID,
                                                              LanSeekCtrlIdentificationType* pType) = 0;
  /// A controller that is gone is no failure here: CtrlRemoved, S_OK.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlStatus(ULONG lanSeekID, KelCtrlAvailability* pStatus) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlName(ULONG lanSeekID, BSTR* pName) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlID(ULONG lanSeekID, BSTR* pCtrlID) = 0;
  /// Dotted IPv4 address; for a virtual controller on this host the path of its system.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlAddress(ULONG lanSeekID, BSTR* pAddress) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSystemName(ULONG lanSeekID, BSTR* pSystemName) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetReleasePath(ULONG lanSeekID, BSTR* pReleasePath) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSystemID(ULONG lanSeekID, BSTR* pSystemID) = 0;
  /// From a reverse look-up of the address; absent or empty until that has an answer.
  virtual HRESULT STDMETHODCALLTYPE GetHostName(ULONG lanSeekID, BSTR* pHostName) = 0;
  /// E_FAIL "Controller version not available" when the controller did not report them; 0xFFFFFFFF then
  /// stands for each number that is missing.
  virtual HRESULT STDMETHODCALLTYPE GetControllerVersion(ULONG lanSeekID, ULONG* pdwMajor,
                                                         ULONG* pdwMinor) = 0;
  /// E_POINTER "pMacAddress == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetMacAddress(ULONG lanSeekID, BSTR* pMacAddress) = 0;
  /// The port on which the controller serves its clients. E_POINTER "pPortNumber == NULL".
  virtual HRESULT STDMETHODCALLTYPE GetCommPortNumber(ULONG lanSeekID, ULONG* pPortNumber) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetCtrlLevel(ULONG lanSeekID, KelCtrlLevel* pLevel) = 0;
  /// As GetControllerVersion, with the revision.
  virtual HRESULT STDMETHODCALLTYPE GetControllerVersion2(ULONG lanSeekID, ULONG* pdwMajor, ULONG* pdwMinor,
                                                          ULONG* pdwRevision) = 0;
  /// E_FAIL "KelAPI compatibility revision not available", with 0xFFFFFFFF, when it was not reported.
  virtual HRESULT STDMETHODCALLTYPE GetKelAPICompatibilityRevision(ULONG lanSeekID, ULONG* pdwRevision) = 0;
  /// The own object of a virtual controller on this host, with its interface identifier
  /// (IID_KelVirtualController); the caller releases the one and frees the other. Both are null, with S_OK,
  /// when there is no object. E_INVALIDARG "Controller at LanSeekID is not a VC"; E_UNEXPECTED "VC interface
  /// not valid, AddRef threw exception".
  virtual HRESULT STDMETHODCALLTYPE GetVCInterface(ULONG lanSeekID, VCInterface* pVCInterface) = 0;
};

struct IKelCtrlIdentity2 : IKelCtrlIdentity {
  /// The process of a virtual controller on this host. E_INVALIDARG "Controller at LanSeekID is not a VC".
  virtual HRESULT STDMETHODCALLTYPE GetVCProcessID(ULONG lanSeekID, ULONG* pdwProcessID) = 0;
};

struct IKelCtrlIdentity3 : IKelCtrlIdentity2 {
  /// The controller's type as it is.
  virtual HRESULT STDMETHODCALLTYPE GetCtrlType3(ULONG lanSeekID, KelCtrlType* pType) = 0;
};

struct IKelBase : IUnknown {
  /// The text of the object's last failure: message, ":", and where it was found; null while there was none.
  /// It is one text for the object, shared by all its threads: a later failure replaces it, a success leaves
  /// it, reading does not clear it. Always S_OK; `pErrorText` must not be null.
  virtual HRESULT STDMETHODCALLTYPE GetLastErrorInfo(BSTR* pErrorText) = 0;
};

/// For virtual controllers on this host.
struct IKelVCLanSeek : IUnknown {
  /// Register2 without publication.
  virtual HRESULT STDMETHODCALLTYPE Register(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                                             VCInterface* pvci) = 0;
  /// Takes the controller off the list and out of the table. KEL_E_NOT_FOUND.
  virtual HRESULT STDMETHODCALLTYPE UnRegister(BSTR systemID) = 0;
  /// Hands a discovery message in as if it had come from the network; this is how a virtual controller
  /// answers. S_OK also for a message that is none.
  virtual HRESULT STDMETHODCALLTYPE ForwardMessage(BSTR msg) = 0;
};

struct IKelVCLanSeek2 : IKelVCLanSeek {
  /// Makes a virtual controller known. `systemPath` becomes its address. The object `pvci->pVC` is
  /// referenced, and `*pvci->vc_riid` must be IID_KelVirtualController; `dwProcID` is the process that is
  /// watched: when it ends, the controller goes. It is listed once its first message has been handed in, and
  /// with RemoteVCPublication_True other hosts on the local networks then see it too. E_INVALIDARG for a
  /// missing object, another interface, or no system identity; E_UNEXPECTED when the object cannot be
  /// referenced; KEL_E_SYSTEMID_PRESENT.
  virtual HRESULT STDMETHODCALLTYPE Register2(BSTR systemPath, BSTR systemID, ULONG dwProcID,
                                              RemoteVCPublication remotePublication, VCInterface* pvci) = 0;
  /// Takes the controller off the list, as the first step of an end; UnRegister is the second, and sends no
  /// further event. In between the clients have had CtrlRemoved, but the lanSeekID stays in use, its getters
  /// answer, and its status is still CtrlAvailable; it is among the unpublished ones, and another message of
  /// its own lists it again, as CtrlNew. KEL_E_NOT_FOUND.
  virtual HRESULT STDMETHODCALLTYPE PreUnRegister(BSTR systemID) = 0;
};

struct IKelLanSeekConfig : IUnknown {
  /// Adds the controller at a dotted IPv4 address that broadcasts do not reach; it is then asked by unicast,
  /// and listed once it answers. S_OK; KEL_S_ALREADY_DYNAMIC and KEL_S_ALREADY_CONFIGURED, with the lanSeekID
  /// that it has, when it is known already; E_POINTER; E_INVALIDARG for a text that is no address.
  ///
  /// The lanSeekID lasts while the controller is only reached by unicast, silent or not. It goes out of use
  /// when the controller announces a restart or its end, when it is silent and then answers on a local
  /// network, which makes it a new controller there, and, once it has turned dynamic, as that of any
  /// controller found. With the setting NonLocalUpdatesEnabled at 0, also when the component put it there
  /// because it got no socket for unicast, the result is still S_OK, but the controller is never asked.
  virtual HRESULT STDMETHODCALLTYPE AddRemoteController(BSTR ip, ULONG* lanSeekID) = 0;
};
