#pragma once

// An object from a module that is not registered, on Windows. Part of kellanseek/com.h.

namespace kellanseek::com {

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

/// Loads the module at `path` and creates an object of class `clsid` from it, registered or not. The module
/// stays loaded. E_POINTER when `object` or `path` is null; the system's code as an HRESULT when the module
/// does not load; CO_E_ERRORINDLL when it is not a component; else what the component answers. `*object` is
/// null on failure. For threads of the multithreaded apartment, whose object it is: nothing stands
/// between it and the caller.
inline HRESULT KelCreateInstanceFromModule(const wchar_t* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  return kellanseek::com::CreateFromModule(LoadLibraryW(path), clsid, iid, object);
}

/// The same with a path in the ANSI code page.
inline HRESULT KelCreateInstanceFromModule(const char* path, REFCLSID clsid, REFIID iid, void** object) {
  if (path == nullptr || object == nullptr) return E_POINTER;
  return kellanseek::com::CreateFromModule(LoadLibraryA(path), clsid, iid, object);
}
