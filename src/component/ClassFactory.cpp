#include "component/ClassFactory.h"

#include <new>

#include "component/KelLanSeekImpl.h"

namespace kellanseek::component {

HRESULT ClassFactory::Create(REFIID iid, void** object, const ComponentEnvironment& environment,
                             ComponentModule& module) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  try {
    const auto factory = KelComPtr<ClassFactory>::Attach(new ClassFactory(environment, module));
    return factory->QueryInterface(iid, object);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

STDMETHODIMP ClassFactory::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!IsEqualIID(iid, IID_IClassFactory) && !IsEqualIID(iid, IID_IUnknown)) return E_NOINTERFACE;
  *object = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

STDMETHODIMP_(ULONG) ClassFactory::AddRef() {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

STDMETHODIMP_(ULONG) ClassFactory::Release() {
  const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
}

STDMETHODIMP ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) {
  return CKelLanSeek::Create(outer, iid, object, environment_, moduleLock_.Module());
}

STDMETHODIMP ClassFactory::LockServer(BOOL lock) {
  if (lock != FALSE) {
    moduleLock_.Module().Lock();
  } else {
    moduleLock_.Module().Unlock();
  }
  return S_OK;
}

}  // namespace kellanseek::component
