#include "platform/TypeLibrary.h"

#include <string>

#include "platform/Module.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr const wchar_t* kOleAutomation = L"OLEAUT32.DLL";

/// Without an index behind the path the system takes the first type library resource.
HRESULT LoadModuleTypeLibrary(std::wstring& path, KelComPtr<ITypeLib>& library) {
  path = CurrentModulePath();
  return LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put());
}

HRESULT MissingFunction() { return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND); }

}  // namespace

bool WantsPerUserRegistration() { return EnvironmentText(L"KELLANSEEK_REGISTER") == L"user"; }

HRESULT RegisterModuleTypeLibrary(bool perUser) {
  std::wstring path;
  KelComPtr<ITypeLib> library;
  const HRESULT loaded = LoadModuleTypeLibrary(path, library);
  if (FAILED(loaded)) return loaded;
  std::wstring directory = path.substr(0, path.find_last_of(L'\\'));
  if (!perUser) return RegisterTypeLib(library.Get(), path.data(), directory.data());
  using Register = HRESULT WINAPI(ITypeLib*, OLECHAR*, OLECHAR*);
  auto* const registerForUser = FindSystemFunction<Register>(kOleAutomation, "RegisterTypeLibForUser");
  if (registerForUser == nullptr) return MissingFunction();
  return registerForUser(library.Get(), path.data(), directory.data());
}

HRESULT UnregisterModuleTypeLibrary(bool perUser) {
  std::wstring path;
  KelComPtr<ITypeLib> library;
  const HRESULT loaded = LoadModuleTypeLibrary(path, library);
  if (FAILED(loaded)) return loaded;
  TLIBATTR* attributes = nullptr;
  HRESULT result = library->GetLibAttr(&attributes);
  if (FAILED(result)) return result;
  const TLIBATTR identity = *attributes;
  library->ReleaseTLibAttr(attributes);
  KelBstr registered;
  const bool known = SUCCEEDED(QueryPathOfRegTypeLib(identity.guid, identity.wMajorVerNum,
                                                     identity.wMinorVerNum, identity.lcid, registered.Put()));
  // What a user has registered is hidden from programs with an administrator's rights; it is tried all the
  // same.
  if (!known && !perUser) return S_OK;
  using Unregister = HRESULT WINAPI(REFGUID, WORD, WORD, LCID, SYSKIND);
  Unregister* unregister = &UnRegisterTypeLib;
  if (perUser) unregister = FindSystemFunction<Unregister>(kOleAutomation, "UnRegisterTypeLibForUser");
  if (unregister == nullptr) return MissingFunction();
  result = unregister(identity.guid, identity.wMajorVerNum, identity.wMinorVerNum, identity.lcid,
                      identity.syskind);
  return !known || result == TYPE_E_REGISTRYACCESS ? S_OK : result;
}

}  // namespace kellanseek::platform
