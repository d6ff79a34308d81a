#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include <kellanseek/KelLanSeek.h>

/// The built component, loaded by its path (environment variable KELLANSEEK_TEST_MODULE) during the object's
/// lifetime.
class ComponentModule {
 public:
  ComponentModule();
  ~ComponentModule();
  ComponentModule(const ComponentModule&) = delete;
  ComponentModule& operator=(const ComponentModule&) = delete;

  HMODULE Handle() const { return module_; }
  const std::wstring& Path() const { return path_; }

  HRESULT Register() const { return Call("DllRegisterServer"); }
  HRESULT Unregister() const { return Call("DllUnregisterServer"); }
  HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

 private:
  HRESULT Call(const char* function) const;

  std::wstring path_;
  HMODULE module_ = nullptr;
};

/// A client's sink, or its virtual controller. It may be called from any thread, whatever the client's
/// apartment: it aggregates the free-threaded marshaller. Lives as long as the test, whoever refers to it.
class ClientObject final : public IKelObjectEvents {
 public:
  ClientObject() { CoCreateFreeThreadedMarshaler(this, marshaler_.Put()); }
  virtual ~ClientObject() { CloseHandle(notified); }
  ClientObject(const ClientObject&) = delete;
  ClientObject& operator=(const ClientObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (iid == IID_IMarshal) return marshaler_->QueryInterface(iid, object);
    const bool known = iid == IID_IUnknown || iid == IID_IKelObjectEvents;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    if (onAddRef) onAddRef();
    return 1;
  }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent*) override {
    SetEvent(notified);
    if (onNotify) onNotify();
    return S_OK;
  }

  std::function<void()> onAddRef;
  std::function<void()> onNotify;
  const HANDLE notified = CreateEventW(nullptr, FALSE, FALSE, nullptr);

 private:
  KelComPtr<IUnknown> marshaler_;
};
