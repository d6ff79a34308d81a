#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <kellanseek/client.hpp>

#include "tests/support/Counted.h"

namespace kellanseek::test {

/// A component object whose controllers, events and failures the test decides. Calls its sinks on the thread
/// that calls Tell(). Like the component, it holds no lock while a sink runs.
class FakeComponent final : public Counted<IKelLanSeek2, IKelCtrlIdentity3, IKelLanSeekSubscribe, IKelBase,
                                           IKelVCLanSeek2, IKelLanSeekConfig, IKelLanSeekDiagnostics> {
 public:
  using Controller = client::Controller;

  explicit FakeComponent(std::atomic<bool>& alive) : alive_(alive) { alive = true; }

  void Put(const Controller& controller) {
    const std::lock_guard<std::mutex> lock(mutex_);
    controllers_[controller.id] = controller;
  }
  void Remove(std::uint32_t id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    controllers_.erase(id);
  }
  /// Delivers an event to every sink.
  void Tell(std::uint32_t id, KelCtrlAvailability availability, LanSeekEventReason reason) {
    const KelComPtr<FakeComponent> self(this);
    for (const auto& sink : Sinks()) {
      const KelBstr text(std::to_wstring(id) + L";" + std::to_wstring(availability) + L";" +
                         std::to_wstring(reason) + L";");
      KelObjectEvent event = {};
      event.data.vt = VT_BSTR;
      event.data.bstrVal = text.Get();
      lastNotify = sink->Notify(&event);
    }
  }

  std::atomic<HRESULT> lastNotify{S_OK};
  std::atomic<HRESULT> nameResult{S_OK};    ///< What GetCtrlName returns of a controller that exists.
  std::atomic<HRESULT> methodResult{S_OK};  ///< What refreshing, adding and registering return.
  std::atomic<ULONG> sweeps{1};
  std::atomic<bool> hasDiagnostics{true};
  std::function<void()> onList;         ///< Called before a list is made.
  std::function<void()> onUnsubscribe;  ///< Called after a subscription has ended.
  std::vector<std::string> registrarCalls;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const std::pair<IID, void*> offered[] = {
        {*KelInterfaceId<IUnknown>, static_cast<IKelLanSeek2*>(this)},
        {IID_IKelLanSeek, static_cast<IKelLanSeek2*>(this)},
        {IID_IKelLanSeek2, static_cast<IKelLanSeek2*>(this)},
        {IID_IKelCtrlIdentity3, static_cast<IKelCtrlIdentity3*>(this)},
        {IID_IKelLanSeekSubscribe, static_cast<IKelLanSeekSubscribe*>(this)},
        {IID_IKelBase, static_cast<IKelBase*>(this)},
        {IID_IKelVCLanSeek2, static_cast<IKelVCLanSeek2*>(this)},
        {IID_IKelLanSeekConfig, static_cast<IKelLanSeekConfig*>(this)},
        {IID_IKelLanSeekDiagnostics, hasDiagnostics ? static_cast<IKelLanSeekDiagnostics*>(this) : nullptr},
    };
    *object = nullptr;
    for (const auto& [id, face] : offered) {
      if (IsEqualIID(id, iid)) *object = face;
    }
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  // IKelLanSeek2
  HRESULT STDMETHODCALLTYPE GetCtrlList(KelRetrievalParams* range, IKelEnumCtrlIdentity** list) override;
  HRESULT STDMETHODCALLTYPE GetUnpublishedVCList(KelRetrievalParams* range,
                                                 IKelEnumCtrlIdentity** list) override {
    return GetCtrlList(range, list);
  }
  HRESULT STDMETHODCALLTYPE RefreshForID(ULONG) override { return methodResult; }
  HRESULT STDMETHODCALLTYPE GetCtrlFromSystemID(BSTR text, ULONG* id) override {
    return Find(text, &Controller::identity, id);
  }
  HRESULT STDMETHODCALLTYPE GetCtrlFromIPAddress(BSTR text, ULONG* id) override {
    return Find(text, &Controller::address, id);
  }
  HRESULT STDMETHODCALLTYPE GetCtrlFromURL(BSTR, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetUnpublishedVCFromSystemID(BSTR, ULONG*) override { return KEL_E_NOT_FOUND; }
  HRESULT STDMETHODCALLTYPE Ping() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnpackSubscriptionData(VARIANT*, ULONG*, KelCtrlAvailability*,
                                                   LanSeekEventReason*) override {
    return E_NOTIMPL;
  }

  // IKelCtrlIdentity3
  HRESULT STDMETHODCALLTYPE GetCtrlType(ULONG, KelCtrlType*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetCtrlType3(ULONG id, KelCtrlType* kind) override {
    return With(id, [&](const Controller& one) { *kind = static_cast<KelCtrlType>(one.kind); });
  }
  HRESULT STDMETHODCALLTYPE GetCtrlIdentificationType(ULONG id,
                                                      LanSeekCtrlIdentificationType* type) override {
    return With(
        id, [&](const Controller& one) { *type = static_cast<LanSeekCtrlIdentificationType>(one.origin); });
  }
  HRESULT STDMETHODCALLTYPE GetCtrlStatus(ULONG id, KelCtrlAvailability* status) override {
    *status = CtrlRemoved;
    With(id, [&](const Controller& one) { *status = static_cast<KelCtrlAvailability>(one.availability); });
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetCtrlLevel(ULONG id, KelCtrlLevel* level) override {
    return With(id, [&](const Controller& one) { *level = static_cast<KelCtrlLevel>(one.level); });
  }
  HRESULT STDMETHODCALLTYPE GetCtrlName(ULONG id, BSTR* text) override {
    return FAILED(nameResult) ? nameResult.load() : Text(id, &Controller::name, text);
  }
  HRESULT STDMETHODCALLTYPE GetCtrlID(ULONG id, BSTR* text) override {
    return Text(id, &Controller::controller_id, text);
  }
  HRESULT STDMETHODCALLTYPE GetCtrlAddress(ULONG id, BSTR* text) override {
    return Text(id, &Controller::address, text);
  }
  HRESULT STDMETHODCALLTYPE GetSystemName(ULONG id, BSTR* text) override {
    return Text(id, &Controller::system_name, text);
  }
  HRESULT STDMETHODCALLTYPE GetReleasePath(ULONG id, BSTR* text) override {
    return Text(id, &Controller::release_path, text);
  }
  HRESULT STDMETHODCALLTYPE GetSystemID(ULONG id, BSTR* text) override {
    return Text(id, &Controller::identity, text);
  }
  HRESULT STDMETHODCALLTYPE GetMacAddress(ULONG id, BSTR* text) override {
    return Text(id, &Controller::mac, text);
  }
  HRESULT STDMETHODCALLTYPE GetHostName(ULONG id, BSTR* text) override {
    return With(id, [&](const Controller& one) {
      *text = one.host_name ? KelBstr(client::to_wide(*one.host_name)).Detach() : nullptr;
    });
  }
  HRESULT STDMETHODCALLTYPE GetControllerVersion(ULONG, ULONG*, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetControllerVersion2(ULONG id, ULONG* major, ULONG* minor,
                                                  ULONG* revision) override {
    const HRESULT result = With(id, [&](const Controller& one) {
      *major = one.version ? one.version->major : 0xFFFFFFFF;
      *minor = one.version ? one.version->minor : 0xFFFFFFFF;
      *revision = one.version ? one.version->revision.value_or(0xFFFFFFFF) : 0xFFFFFFFF;
    });
    return SUCCEEDED(result) && *revision == 0xFFFFFFFF ? E_FAIL : result;
  }
  HRESULT STDMETHODCALLTYPE GetKelAPICompatibilityRevision(ULONG id, ULONG* revision) override {
    return Number(id, &Controller::api_revision, E_FAIL, revision);
  }
  HRESULT STDMETHODCALLTYPE GetCommPortNumber(ULONG id, ULONG* port) override {
    return With(id, [&](const Controller& one) { *port = one.port.value_or(0); });
  }
  HRESULT STDMETHODCALLTYPE GetVCProcessID(ULONG id, ULONG* process) override {
    return Number(id, &Controller::process, E_INVALIDARG, process);
  }
  HRESULT STDMETHODCALLTYPE GetVCInterface(ULONG, VCInterface*) override { return E_NOTIMPL; }

  // IKelLanSeekSubscribe
  HRESULT STDMETHODCALLTYPE Subscribe(KelEventParams* wanted, ULONG* cookie) override {
    KelComPtr<IKelObjectEvents> sink;
    if (FAILED(KelComPtr<IUnknown>(wanted->pSink).QueryTo(sink))) return E_NOINTERFACE;
    const std::lock_guard<std::mutex> lock(mutex_);
    *cookie = nextCookie_++;
    sinks_.emplace(*cookie, std::move(sink));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Unsubscribe(ULONG cookie) override {
    const std::size_t erased = [&] {
      const std::lock_guard<std::mutex> lock(mutex_);
      return sinks_.erase(cookie);
    }();
    if (onUnsubscribe) onUnsubscribe();
    return erased == 1 ? S_OK : E_FAIL;
  }

  HRESULT STDMETHODCALLTYPE GetLastErrorInfo(BSTR* text) override {
    *text = KelBstr(L"the reason \x2026").Detach();
    return S_OK;
  }

  // IKelVCLanSeek2
  HRESULT STDMETHODCALLTYPE Register(BSTR, BSTR, ULONG, VCInterface*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Register2(BSTR path, BSTR identity, ULONG process, RemoteVCPublication published,
                                      VCInterface* own) override {
    const bool usable = process != 0 && own->pVC != nullptr && *own->vc_riid == IID_KelVirtualController;
    Call(std::string(published == RemoteVCPublication_True ? "publish " : "register ") +
         client::to_utf8(path) + " " + client::to_utf8(identity) + (usable ? "" : " without an object"));
    return methodResult;
  }
  HRESULT STDMETHODCALLTYPE PreUnRegister(BSTR identity) override { return Call("withdraw", identity); }
  HRESULT STDMETHODCALLTYPE UnRegister(BSTR identity) override { return Call("remove", identity); }
  HRESULT STDMETHODCALLTYPE ForwardMessage(BSTR message) override { return Call("forward", message); }

  HRESULT STDMETHODCALLTYPE AddRemoteController(BSTR, ULONG* id) override {
    *id = 77;
    return methodResult;
  }

  HRESULT STDMETHODCALLTYPE GetReport(BSTR* report) override {
    *report = KelBstr(L"{\"name\":\"S\u00fcd\"}").Detach();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetSweeps(ULONG* count) override {
    *count = sweeps;
    return S_OK;
  }

 private:
  class List;

  ~FakeComponent() override { alive_ = false; }

  template <typename Use>
  HRESULT With(std::uint32_t id, Use use) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = controllers_.find(id);
    if (found == controllers_.end()) return KEL_E_LANSEEKID_NOT_IN_USE;
    use(found->second);
    return S_OK;
  }
  HRESULT Text(ULONG id, std::string Controller::*member, BSTR* text) {
    return With(id, [&](const Controller& one) { *text = KelBstr(client::to_wide(one.*member)).Detach(); });
  }
  HRESULT Number(ULONG id, std::optional<std::uint32_t> Controller::*member, HRESULT missing, ULONG* number) {
    HRESULT result = S_OK;
    const HRESULT found = With(id, [&](const Controller& one) {
      if (!(one.*member)) result = missing;
      *number = (one.*member).value_or(0xFFFFFFFF);
    });
    return FAILED(found) ? found : result;
  }
  HRESULT Find(BSTR text, std::string Controller::*member, ULONG* id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [key, one] : controllers_) {
      if (one.*member == client::to_utf8(text)) return *id = key, S_OK;
    }
    return KEL_E_NOT_FOUND;
  }
  std::vector<KelComPtr<IKelObjectEvents>> Sinks() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<KelComPtr<IKelObjectEvents>> sinks;
    for (const auto& [cookie, sink] : sinks_) sinks.push_back(sink);
    return sinks;
  }
  void Call(std::string text) { registrarCalls.push_back(std::move(text)); }
  HRESULT Call(const std::string& method, BSTR text) {
    Call(method + " " + client::to_utf8(text));
    return S_OK;
  }

  std::atomic<bool>& alive_;
  std::mutex mutex_;
  std::map<std::uint32_t, Controller> controllers_;
  std::map<ULONG, KelComPtr<IKelObjectEvents>> sinks_;
  ULONG nextCookie_ = 10;
};

class FakeComponent::List final : public client::detail::Counted<IKelEnumCtrlIdentity> {
 public:
  explicit List(std::vector<ULONG> ids) : Counted(IID_IKelEnumCtrlIdentity), ids_(std::move(ids)) {}
  HRESULT STDMETHODCALLTYPE RemNext(ULONG wanted, AvailableCtrlsListItem* items, ULONG* fetched) override {
    ULONG got = 0;
    for (; got < wanted && next_ < ids_.size(); ++got) items[got].lanSeekID = ids_[next_++];
    if (fetched != nullptr) *fetched = got;
    return got == wanted ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IKelEnumCtrlIdentity**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Sort(INT) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Filter(INT) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE UnFilter() override { return S_OK; }

 private:
  std::vector<ULONG> ids_;
  std::size_t next_ = 0;
};

inline HRESULT FakeComponent::GetCtrlList(KelRetrievalParams* range, IKelEnumCtrlIdentity** list) {
  if (range->noOfElts != -2) return E_INVALIDARG;
  if (onList) onList();
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<ULONG> ids;
  for (const auto& [id, one] : controllers_) ids.push_back(id);
  *list = new List(std::move(ids));
  return S_OK;
}

}  // namespace kellanseek::test
