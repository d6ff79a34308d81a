#pragma once

// Creation of objects from an unregistered module on Windows. Part of kellanseek/com.h.

#include <string>

namespace kellanseek::com {

/// The result code of a module that did not load is the system's own and needs no text.
inline std::string WhyNotLoaded(HRESULT) { return {}; }

inline HRESULT CreateFromModule(HMODULE module, REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (module == nullptr) return HRESULT_FROM_WIN32(GetLastError());
  const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
      reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
  if (getClassObject == nullptr) return CO_E_ERRORINDLL;
  IClassFactory* factory = nullptr;
  HRESULT result = getClassObject(clsid, kIidClassFactory, reinterpret_cast<void**>(&factory));
  if (FAILED(result)) return result;
  if (factory == nullptr) return CO_E_ERRORINDLL;
  result = factory->CreateInstance(nullptr, iid, object);
  factory->Release();
  return result;
}

}  // namespace kellanseek::com

/// Loads the module at `path` and creates an object of class `clsid` from it; the class need not be
/// registered. The module is never unloaded. Returns E_POINTER if `object` or `path` is null; the system's
/// code as an HRESULT if the module does not load; CO_E_ERRORINDLL if it is not a component; otherwise the
/// component's result. `*object` is null on failure. Call it from the multithreaded apartment: the object is
/// returned without a proxy.
inline HRESULT KelCreateInstanceFromModule(const wchar_t* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  return kellanseek::com::CreateFromModule(LoadLibraryW(path), clsid, iid, object);
}

/// The same for a path in the ANSI code page.
inline HRESULT KelCreateInstanceFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  return kellanseek::com::CreateFromModule(LoadLibraryA(path), clsid, iid, object);
}
