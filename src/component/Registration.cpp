#include "component/Registration.h"

#include <array>
#include <vector>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::component {
namespace {

constexpr const wchar_t* kClassName = L"KelLanSeek Class";
constexpr const wchar_t* kVersionedProgID = L"KelLanSeek.KelLanSeek.1";
constexpr const wchar_t* kProgID = L"KelLanSeek.KelLanSeek";
constexpr const wchar_t* kDefaultValue = L"";

std::wstring ClassesKey(RegistrationScope scope, const std::wstring& name) {
  const bool everybody = scope == RegistrationScope::Machine;
  return (everybody ? L"HKEY_CLASSES_ROOT\\" : L"HKEY_CURRENT_USER\\Software\\Classes\\") + name;
}

std::wstring GuidText(REFGUID guid) {
  std::array<wchar_t, 39> text = {};
  StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
  return text.data();
}

std::wstring ClassKey(RegistrationScope scope) {
  return ClassesKey(scope, L"CLSID\\" + GuidText(CLSID_KelLanSeek));
}

struct RegistryValue {
  std::wstring key;
  std::wstring name;
  std::wstring value;
};

std::vector<RegistryValue> ValuesOfClass(RegistrationScope scope, const std::wstring& modulePath) {
  const std::wstring classID = GuidText(CLSID_KelLanSeek);
  const std::wstring versioned = ClassesKey(scope, kVersionedProgID);
  const std::wstring unversioned = ClassesKey(scope, kProgID);
  const std::wstring classKey = ClassKey(scope);
  return {
      {versioned, kDefaultValue, kClassName},
      {versioned + L"\\CLSID", kDefaultValue, classID},
      {unversioned, kDefaultValue, kClassName},
      {unversioned + L"\\CLSID", kDefaultValue, classID},
      {unversioned + L"\\CurVer", kDefaultValue, kVersionedProgID},
      {classKey, kDefaultValue, kClassName},
      {classKey + L"\\ProgID", kDefaultValue, kVersionedProgID},
      {classKey + L"\\VersionIndependentProgID", kDefaultValue, kProgID},
      {classKey + L"\\InprocServer32", kDefaultValue, modulePath},
      {classKey + L"\\InprocServer32", L"ThreadingModel", L"Free"},
      {classKey + L"\\TypeLib", kDefaultValue, GuidText(LIBID_KELLANSEEKLib)},
  };
}

}  // namespace

HRESULT RegisterComponent(platform::RegistryStore& registry, RegistrationScope scope,
                          const std::wstring& modulePath, std::wstring& why) {
  const auto write = [&](const RegistryValue& entry) {
    const HRESULT result = registry.Write(entry.key, entry.name, entry.value);
    if (FAILED(result)) why = L"Could not write " + entry.key + L": " + registry.LastErrorText();
    return result;
  };
  // Writes the path first: if the store refuses it, an existing registration stays intact.
  HRESULT result = write({ClassKey(scope) + L"\\InprocServer32", kDefaultValue, modulePath});
  if (FAILED(result)) return result;
  result = registry.RemoveTree(ClassKey(scope));
  if (FAILED(result)) {
    why = L"Could not remove " + ClassKey(scope) + L": " + registry.LastErrorText();
    return result;
  }
  for (const RegistryValue& entry : ValuesOfClass(scope, modulePath)) {
    result = write(entry);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT UnregisterComponent(platform::RegistryStore& registry, RegistrationScope scope, std::wstring& why) {
  HRESULT first = S_OK;
  const auto note = [&](HRESULT result, const std::wstring& what) {
    if (SUCCEEDED(result) || FAILED(first)) return;
    first = result;
    why = L"Could not remove " + what + L": " + registry.LastErrorText();
  };
  const auto takeBack = [&](const std::wstring& key) { note(registry.TakeBack(key), key); };
  takeBack(ClassKey(scope));
  // Both word sizes share the ProgIDs, but not the class. They stay as long as the other size is registered.
  if (!registry.HasForOtherSize(ClassKey(scope))) {
    takeBack(ClassesKey(scope, kProgID));
    takeBack(ClassesKey(scope, kVersionedProgID));
  }
  note(registry.DropNeedlessStore(), L"the user's own store");
  return first;
}

}  // namespace kellanseek::component
