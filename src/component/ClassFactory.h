#pragma once

#include <atomic>

#include <kellanseek/KelLanSeek.h>

#include "component/ComponentEnvironment.h"
#include "component/ComponentModule.h"

namespace kellanseek::component {

/// Creates component objects. Keeps the module loaded during its lifetime and while a client has locked it.
class ClassFactory final : public IClassFactory {
 public:
  /// Creates a factory. E_POINTER, E_NOINTERFACE, E_OUTOFMEMORY. `module` and the references in `environment`
  /// must outlive the factory and its objects.
  static HRESULT Create(REFIID iid, void** object, const ComponentEnvironment& environment,
                        ComponentModule& module) noexcept;

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
  STDMETHODIMP_(ULONG) AddRef() override;
  STDMETHODIMP_(ULONG) Release() override;
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
  STDMETHODIMP LockServer(BOOL lock) override;

 private:
  ClassFactory(const ComponentEnvironment& environment, ComponentModule& module)
      : moduleLock_(module), environment_(environment) {}
  ~ClassFactory() = default;

  const ModuleLock moduleLock_;
  const ComponentEnvironment environment_;
  std::atomic<ULONG> references_{1};
};

}  // namespace kellanseek::component
