#include "component/Registration.h"

#include <array>
#include <vector>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek {
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

HRESULT RemoveTree(platform::RegistryStore& registry, const std::wstring& key, std::wstring& why) {
  const HRESULT result = registry.RemoveTree(key);
  if (FAILED(result)) why = L"Could not remove " + key + L": " + registry.LastErrorText();
  return FAILED(result) ? result : S_OK;
}

}  // namespace

HRESULT RegisterComponent(platform::RegistryStore& registry, RegistrationScope scope,
                          const std::wstring& modulePath, std::wstring& why) {
  const auto write = [&](const RegistryValue& entry) {
    const HRESULT result = registry.Write(entry.key, entry.name, entry.value);
    if (FAILED(result)) why = L"Could not write " + entry.key + L": " + registry.LastErrorText();
    return result;
  };
  // A registration that is there is not given up for one that the store does not take: the path comes first.
  HRESULT result = write({ClassKey(scope) + L"\\InprocServer32", kDefaultValue, modulePath});
  if (SUCCEEDED(result)) result = RemoveTree(registry, ClassKey(scope), why);
  if (FAILED(result)) return result;
  for (const RegistryValue& entry : ValuesOfClass(scope, modulePath)) {
    result = write(entry);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT UnregisterComponent(platform::RegistryStore& registry, RegistrationScope scope, std::wstring& why) {
  HRESULT first = S_OK;
  const auto remove = [&](const std::wstring& key) {
    std::wstring reason;
    const HRESULT result = RemoveTree(registry, key, reason);
    if (SUCCEEDED(result) || FAILED(first)) return;
    first = result;
    why = reason;
  };
  remove(ClassKey(scope));
  // The names of a class are the same for programs of both sizes, where the class itself is not.
  if (registry.HasForOtherSize(ClassKey(scope))) return first;
  remove(ClassesKey(scope, kProgID));
  remove(ClassesKey(scope, kVersionedProgID));
  return first;
}

}  // namespace kellanseek
