#pragma once

// The component object behind the layer, and the thread's part in COM. Part of kellanseek/client.hpp; of the
// names in here, only Apartment is for clients.

#include <atomic>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <kellanseek/KelLanSeek.h>
#include <kellanseek/client/controller.hpp>
#include <kellanseek/client/error.hpp>
#include <kellanseek/client/text.hpp>

namespace kellanseek::client {

/// Makes the calling thread a member of COM's multithreaded apartment for its lifetime, which every thread
/// needs on Windows before it uses the component. Create it first and on the stack of that thread, so that
/// it outlives all objects of the layer there. Throws Error if the thread is already in another apartment.
class Apartment {
 public:
  Apartment() {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result)) throw Error(result, "joining the multithreaded apartment");
  }
  ~Apartment() { CoUninitialize(); }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
};

namespace detail {

/// IUnknown for an object with one interface that the component calls. Starts with one reference.
template <typename Interface>
class Counted : public Interface {
 public:
  explicit Counted(const IID& iid) noexcept : iid_(iid) {}
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    const bool known = IsEqualIID(iid, *KelInterfaceId<IUnknown>) || IsEqualIID(iid, iid_);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Counted() = default;

 private:
  const IID iid_;
  std::atomic<ULONG> references_{1};
};

/// One component object. Shared by a client, its copies and everything that they made. Thread-safe.
class Component {
 public:
  explicit Component(IUnknown& object)
      : object_(&object),
        base_(object_.As<IKelBase>()),
        diagnostics_(object_.As<IKelLanSeekDiagnostics>()),
        seek_(Query<IKelLanSeek>("IKelLanSeek")),
        identity_(Query<IKelCtrlIdentity3>("IKelCtrlIdentity3")) {}

  IKelLanSeek& Seek() const { return *seek_; }
  IKelCtrlIdentity3& Identity() const { return *identity_; }
  /// Null if the component is older than this interface.
  IKelLanSeekDiagnostics* Diagnostics() const { return diagnostics_.Get(); }

  /// Throws Error if the object does not offer the interface.
  template <typename Interface>
  KelComPtr<Interface> Query(const char* name) const {
    KelComPtr<Interface> found;
    const HRESULT result = object_.QueryTo(found);
    if (FAILED(result)) throw Missing(result, name);
    return found;
  }
  static Error Missing(HRESULT result, const char* name) {
    return {result, "querying the component", std::string("it does not offer ") + name};
  }

  /// For a failure, throws Error with the component's text, which is that of the last failure. `which` is
  /// appended to what was attempted.
  void Check(HRESULT result, std::string_view attempted, std::string_view which = {}) const {
    if (SUCCEEDED(result)) return;
    KelBstr reason;
    if (base_) base_->GetLastErrorInfo(reason.Put());
    throw Error(result, std::string(attempted).append(which), to_utf8(reason.View()));
  }

 private:
  KelComPtr<IUnknown> object_;
  KelComPtr<IKelBase> base_;
  KelComPtr<IKelLanSeekDiagnostics> diagnostics_;
  KelComPtr<IKelLanSeek> seek_;
  KelComPtr<IKelCtrlIdentity3> identity_;
};

/// The registered component, or the one in a module. Throws Error.
inline KelComPtr<IUnknown> CreateRegistered() {
  KelComPtr<IUnknown> object;
  const HRESULT result = CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER,
                                          *KelInterfaceId<IUnknown>, object.PutVoid());
  if (SUCCEEDED(result)) return object;
  throw Error(result, "creating the registered component",
              result == REGDB_E_CLASSNOTREG ? "it is not registered" : "");
}
inline KelComPtr<IUnknown> CreateFromModule(const std::string& path) {
  KelComPtr<IUnknown> object;
  const HRESULT result = KelCreateInstanceFromModule(to_wide(path).c_str(), CLSID_KelLanSeek,
                                                     *KelInterfaceId<IUnknown>, object.PutVoid());
  if (SUCCEEDED(result)) return object;
  throw Error(result, "creating the component of the module " + path, com::WhyNotLoaded(result));
}

/// Whether a getter has answered; false if the controller is gone, or never existed.
inline bool Answered(const Component& component, HRESULT result) {
  if (result == KEL_E_LANSEEKID_NOT_IN_USE || result == E_INVALIDARG) return false;
  component.Check(result, "reading a controller");
  return true;
}

inline bool ReadTexts(const Component& component, Controller& controller) {
  using Getter = HRESULT (STDMETHODCALLTYPE IKelCtrlIdentity::*)(ULONG, BSTR*);
  std::string host;
  const struct {
    std::string& text;
    Getter get;
  } fields[] = {
      {controller.name, &IKelCtrlIdentity::GetCtrlName},
      {controller.address, &IKelCtrlIdentity::GetCtrlAddress},
      {controller.identity, &IKelCtrlIdentity::GetSystemID},
      {controller.mac, &IKelCtrlIdentity::GetMacAddress},
      {controller.system_name, &IKelCtrlIdentity::GetSystemName},
      {controller.release_path, &IKelCtrlIdentity::GetReleasePath},
      {controller.controller_id, &IKelCtrlIdentity::GetCtrlID},
      {host, &IKelCtrlIdentity::GetHostName},
  };
  for (const auto& field : fields) {
    KelBstr text;
    if (!Answered(component, (component.Identity().*field.get)(controller.id, text.Put()))) return false;
    field.text = to_utf8(text.View());
  }
  if (!host.empty()) controller.host_name = std::move(host);
  return true;
}

/// What not every controller has: a failure means that it was not reported.
inline void ReadNumbers(IKelCtrlIdentity3& identity, Controller& controller) {
  constexpr ULONG kNone = 0xFFFFFFFF;
  ULONG major = kNone;
  ULONG minor = kNone;
  ULONG revision = kNone;
  // Fails if any of the three is missing, and returns the others.
  identity.GetControllerVersion2(controller.id, &major, &minor, &revision);
  if (major != kNone && minor != kNone) {
    controller.version = Version{major, minor, {}};
    if (revision != kNone) controller.version->revision = revision;
  }
  if (ULONG api = kNone; SUCCEEDED(identity.GetKelAPICompatibilityRevision(controller.id, &api)))
    controller.api_revision = api;
  if (ULONG port = 0; SUCCEEDED(identity.GetCommPortNumber(controller.id, &port)) && port != 0)
    controller.port = port;
  if (ULONG process = 0;
      controller.kind == Kind::VC && SUCCEEDED(identity.GetVCProcessID(controller.id, &process)))
    controller.process = process;
}

/// All properties; nullopt if the controller is gone or never existed. Throws Error for other failures.
inline std::optional<Controller> ReadController(const Component& component, std::uint32_t id) {
  IKelCtrlIdentity3& identity = component.Identity();
  Controller controller;
  controller.id = id;
  KelCtrlType kind = RC;
  LanSeekCtrlIdentificationType origin = DynamicCtrlDefinition;
  KelCtrlLevel level = SystemLevel;
  KelCtrlAvailability availability = CtrlRemoved;
  if (!Answered(component, identity.GetCtrlType3(id, &kind)) ||
      !Answered(component, identity.GetCtrlIdentificationType(id, &origin)) ||
      !Answered(component, identity.GetCtrlLevel(id, &level)) || !ReadTexts(component, controller)) {
    return std::nullopt;
  }
  controller.kind = static_cast<Kind>(kind);
  controller.origin = static_cast<Origin>(origin);
  controller.level = static_cast<Level>(level);
  ReadNumbers(identity, controller);
  // Last, because it reveals a controller that has gone while it was being read.
  if (!Answered(component, identity.GetCtrlStatus(id, &availability)) || availability == CtrlRemoved)
    return std::nullopt;
  controller.availability = static_cast<Availability>(availability);
  return controller;
}

/// The ids in an interface's list, in the order in which the controllers became known.
template <typename Interface>
std::vector<std::uint32_t> ListIds(const Component& component, Interface& lister,
                                   HRESULT (STDMETHODCALLTYPE Interface::*get)(KelRetrievalParams*,
                                                                               IKelEnumCtrlIdentity**)) {
  KelRetrievalParams all = {};
  all.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  component.Check((lister.*get)(&all, list.Put()), "listing the controllers");
  std::vector<std::uint32_t> ids;
  AvailableCtrlsListItem items[64];
  HRESULT result = S_OK;
  while (result == S_OK) {
    ULONG got = 0;
    result = list->RemNext(static_cast<ULONG>(std::size(items)), items, &got);
    if (FAILED(result)) throw Error(result, "listing the controllers");
    for (ULONG i = 0; i < got; ++i) ids.push_back(items[i].lanSeekID);
  }
  return ids;
}
inline std::vector<std::uint32_t> ListIds(const Component& component) {
  return ListIds(component, component.Seek(), &IKelLanSeek::GetCtrlList);
}

/// Throws Error if the component is older than this counter.
inline std::uint32_t Sweeps(const Component& component) {
  IKelLanSeekDiagnostics* const diagnostics = component.Diagnostics();
  if (diagnostics == nullptr) throw Component::Missing(E_NOINTERFACE, "IKelLanSeekDiagnostics");
  ULONG sweeps = 0;
  component.Check(diagnostics->GetSweeps(&sweeps), "counting the sweeps");
  return sweeps;
}

}  // namespace detail
}  // namespace kellanseek::client
