#include <new>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "component/ClassFactory.h"
#include "component/ComponentEnvironment.h"
#include "component/ComponentModule.h"
#include "component/KelLanSeekImpl.h"
#include "component/Registration.h"
#include "diagnostics/Trace.h"
#include "platform/Module.h"
#include "platform/TypeLibrary.h"

namespace {

using namespace kellanseek;
using namespace kellanseek::component;

/// The module's only count. A global, because the exported functions receive no context.
constinit ComponentModule theModule;

ComponentEnvironment SystemComponentEnvironment() {
  return {engine::SystemEnvironment(), platform::SystemRegistryStore()};
}

void TraceFailure(const std::wstring& why) {
  if (!why.empty())
    diagnostics::Tracer(platform::ProcessDebugOutput(), diagnostics::kComponentUnit).LongError(L"%s", why);
}

/// Runs the body of an exported function and converts exceptions to failure codes.
template <typename Body>
HRESULT Guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

RegistrationScope Scope(bool perUser) {
  return perUser ? RegistrationScope::User : RegistrationScope::Machine;
}

HRESULT RegisterServer(std::wstring& why) {
  const bool perUser = platform::WantsPerUserRegistration();
  const std::wstring path = platform::CurrentModulePath();
  if (path.empty()) {
    why = L"The system does not say where this module is.";
    return SELFREG_E_CLASS;
  }
  HRESULT result = RegisterComponent(platform::SystemRegistryStore(), Scope(perUser), path, why);
  if (FAILED(result)) return result;
  result = platform::RegisterModuleTypeLibrary(perUser);
  if (FAILED(result)) why = L"Could not register the type library of " + path;
  return result;
}

HRESULT UnregisterServer(std::wstring& why) {
  const bool perUser = platform::WantsPerUserRegistration();
  const HRESULT result = UnregisterComponent(platform::SystemRegistryStore(), Scope(perUser), why);
  const HRESULT library = platform::UnregisterModuleTypeLibrary(perUser);
  return FAILED(result) ? result : library;
}

/// Calls one of the two and traces why it failed.
HRESULT Traced(HRESULT (*change)(std::wstring& why)) noexcept {
  return Guarded([change] {
    std::wstring why;
    const HRESULT result = change(why);
    TraceFailure(why);
    return result;
  });
}

}  // namespace

STDAPI DllCanUnloadNow() { return theModule.InUse() ? S_FALSE : S_OK; }

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!IsEqualCLSID(clsid, CLSID_KelLanSeek)) return CLASS_E_CLASSNOTAVAILABLE;
  return Guarded([&] { return ClassFactory::Create(iid, object, SystemComponentEnvironment(), theModule); });
}

STDAPI DllRegisterServer() { return Traced(RegisterServer); }

STDAPI DllUnregisterServer() { return Traced(UnregisterServer); }
