#include "SampleModule.h"

#include "tests/support/Counted.h"

namespace {

/// Supports IKelBase; its error text is a BSTR freed by the client.
class Sample final : public kellanseek::test::Counted<IKelBase> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool offered = iid == IID_IKelBase || iid == IID_IUnknown;
    *object = offered ? static_cast<IKelBase*>(this) : nullptr;
    if (!offered) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetLastErrorInfo(BSTR* text) override {
    *text = KelBstr(L"from the module").Detach();
    return S_OK;
  }
};

class SampleFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == IID_IClassFactory || iid == IID_IUnknown ? this : nullptr;
    return *object == nullptr ? E_NOINTERFACE : S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    const auto sample = KelComPtr<IKelBase>::Attach(new Sample);
    return sample->QueryInterface(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  static SampleFactory factory;
  *object = nullptr;
  if (clsid == CLSID_SampleNoFactory) return S_OK;
  return clsid == CLSID_Sample ? factory.QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}
