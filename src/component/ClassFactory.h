#pragma once

#include <atomic>

#include <kellanseek/KelLanSeek.h>

#include "component/ComponentEnvironment.h"
#include "component/ComponentModule.h"

namespace kellanseek {

/// Creates component objects. Keeps the module loaded while it lives, and while a client has it locked.
class ClassFactory final : public IClassFactory {
 public:
  /// A factory in `*object`; E_POINTER, E_NOINTERFACE, E_OUTOFMEMORY. `module` and what `environment` refers
  /// to outlive the factory and its objects.
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

}  // namespace kellanseek
