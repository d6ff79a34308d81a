#include "platform/TypeLibrary.h"

#include <array>
#include <string>

#include "platform/Module.h"
#include "platform/RegistryStore.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr const wchar_t* kOleAutomation = L"OLEAUT32.DLL";

/// A path without a resource index selects the first type library resource.
HRESULT LoadModuleTypeLibrary(std::wstring& path, KelComPtr<ITypeLib>& library) {
  path = CurrentModulePath();
  return LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.Put());
}

std::wstring Text(const GUID& guid) {
  std::array<wchar_t, 39> text = {};
  StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
  return text.data();
}

/// The registration of one type library. Programs of both word sizes share its keys, except for the file name
/// of each size and the keys of the interfaces, which exist once for each size.
class TypeLibraryKeys {
 public:
  TypeLibraryKeys(bool perUser, const TLIBATTR& identity)
      : classes_(perUser ? L"HKEY_CURRENT_USER\\Software\\Classes\\" : L"HKEY_CLASSES_ROOT\\"),
        version_(classes_ + L"TypeLib\\" + Text(identity.guid) + L"\\" +
                 std::to_wstring(identity.wMajorVerNum) + L"." + std::to_wstring(identity.wMinorVerNum)) {}

  bool HasFileForOtherSize() const {
    std::wstring path;
    return SystemRegistryStore().Read(FileKey(!k64Bit), L"", kMaxPath, path) == S_OK;
  }

  /// Removes the keys of this word size only. The system's own function would remove the other size's
  /// interfaces too.
  HRESULT RemoveForThisSize(ITypeLib& library) const {
    HRESULT first = SystemRegistryStore().RemoveTree(FileKey(k64Bit));
    for (UINT index = 0; index < library.GetTypeInfoCount(); ++index) {
      KelComPtr<ITypeInfo> type;
      TYPEATTR* attributes = nullptr;
      if (FAILED(library.GetTypeInfo(index, type.Put())) || FAILED(type->GetTypeAttr(&attributes))) continue;
      const bool isInterface = attributes->typekind == TKIND_INTERFACE;
      const std::wstring key = classes_ + L"Interface\\" + Text(attributes->guid);
      type->ReleaseTypeAttr(attributes);
      if (!isInterface) continue;
      const HRESULT removed = SystemRegistryStore().RemoveTree(key);
      if (SUCCEEDED(first) && FAILED(removed)) first = removed;
    }
    return FAILED(first) ? first : S_OK;
  }

 private:
  static constexpr bool k64Bit = sizeof(void*) == 8;
  static constexpr std::size_t kMaxPath = 32767;

  std::wstring FileKey(bool is64Bit) const { return version_ + (is64Bit ? L"\\0\\win64" : L"\\0\\win32"); }

  std::wstring classes_;
  std::wstring version_;
};

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
  const TypeLibraryKeys keys(perUser, identity);
  if (keys.HasFileForOtherSize()) return keys.RemoveForThisSize(*library);
  KelBstr registered;
  const bool known = SUCCEEDED(QueryPathOfRegTypeLib(identity.guid, identity.wMajorVerNum,
                                                     identity.wMinorVerNum, identity.lcid, registered.Put()));
  // The system hides a user's registrations from programs with administrator rights, so the removal is
  // attempted even if the library looks unregistered.
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
