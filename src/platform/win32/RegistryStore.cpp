#include "platform/RegistryStore.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

thread_local LSTATUS lastError = ERROR_SUCCESS;

HRESULT Outcome(LSTATUS status) {
  if (status == ERROR_SUCCESS) return S_OK;
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return S_FALSE;
  lastError = status;
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

struct Root {
  std::wstring_view name;
  HKEY key;
  REGSAM view;
  std::wstring_view under = {};  ///< Path below `key`; empty, or with a separator at its end.
};

/// The machine's settings are shared by programs of both word sizes and lie in the 32-bit view. Classes are
/// not: a module serves programs of its own size and is registered for them alone. HKEY_CLASSES_ROOT also
/// shows the user's classes, which hide the machine's, so it stands for the machine's classes here.
const std::array<Root, 4>& Roots() {
  static const std::array<Root, 4> roots = {
      {{L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY},
       {L"HKEY_CLASSES_ROOT", HKEY_LOCAL_MACHINE, 0, L"Software\\Classes\\"},
       {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER, 0},
       {L"HKEY_USERS", HKEY_USERS, 0}}};
  return roots;
}

/// A full key path, split into its root and the rest.
struct KeyPath {
  const Root* root = nullptr;
  std::wstring subkey;
};

bool SameName(std::wstring_view left, std::wstring_view right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

KeyPath Parse(const std::wstring& key) {
  const std::size_t end = std::min(key.find(L'\\'), key.size());
  const std::wstring_view rootName(key.data(), end);
  KeyPath path;
  const auto& roots = Roots();
  const auto root = std::find_if(roots.begin(), roots.end(),
                                 [&](const Root& candidate) { return SameName(candidate.name, rootName); });
  if (root != roots.end()) path.root = &*root;
  if (path.root == nullptr || end >= key.size()) return path;
  path.subkey.append(path.root->under).append(key, end + 1, std::wstring::npos);
  return path;
}

class OpenKey {
 public:
  OpenKey() = default;
  ~OpenKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  LSTATUS Open(const KeyPath& path, REGSAM access) {
    if (path.root == nullptr) return ERROR_INVALID_PARAMETER;
    return RegOpenKeyExW(path.root->key, path.subkey.c_str(), 0, access | path.root->view, &key_);
  }
  LSTATUS Create(const KeyPath& path, REGSAM access) {
    if (path.root == nullptr) return ERROR_INVALID_PARAMETER;
    return RegCreateKeyExW(path.root->key, path.subkey.c_str(), 0, nullptr, 0, access | path.root->view,
                           nullptr, &key_, nullptr);
  }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

class SystemRegistry final : public RegistryStore {
 public:
  HRESULT Read(const std::wstring& key, const std::wstring& name, std::size_t maxLength,
               std::wstring& value) override {
    OpenKey open;
    if (const LSTATUS status = open.Open(Parse(key), KEY_QUERY_VALUE); status != ERROR_SUCCESS) {
      return Outcome(status);
    }
    // The type is ignored. The zeroed buffer terminates a value stored without its NUL.
    std::vector<wchar_t> text(maxLength + 2, L'\0');
    DWORD bytes = static_cast<DWORD>((maxLength + 1) * sizeof(wchar_t));
    const LSTATUS status = RegQueryValueExW(open.get(), name.c_str(), nullptr, nullptr,
                                            reinterpret_cast<BYTE*>(text.data()), &bytes);
    if (status != ERROR_SUCCESS) return Outcome(status);
    const std::wstring_view read(text.data());
    if (read.size() > maxLength) return Outcome(ERROR_MORE_DATA);
    value = read;
    return S_OK;
  }

  HRESULT Write(const std::wstring& key, const std::wstring& name, const std::wstring& value) override {
    OpenKey open;
    if (const LSTATUS status = open.Create(Parse(key), KEY_SET_VALUE); status != ERROR_SUCCESS) {
      return Failure(status);
    }
    const DWORD bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    return Failure(RegSetValueExW(open.get(), name.c_str(), 0, REG_SZ,
                                  reinterpret_cast<const BYTE*>(value.c_str()), bytes));
  }

  HRESULT RemoveTree(const std::wstring& key) override {
    const KeyPath path = Parse(key);
    if (path.root == nullptr || path.subkey.empty()) return Outcome(ERROR_INVALID_PARAMETER);
    {
      OpenKey open;
      LSTATUS status = open.Open(path, DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE);
      if (status == ERROR_SUCCESS) status = RegDeleteTreeW(open.get(), nullptr);
      if (status != ERROR_SUCCESS) return Outcome(status);
    }
    return Outcome(RegDeleteKeyExW(path.root->key, path.subkey.c_str(), path.root->view, 0));
  }

  bool HasForOtherSize(const std::wstring& key) override {
    const KeyPath path = Parse(key);
    if (path.root == nullptr) return false;
    HKEY other = nullptr;
    constexpr REGSAM kOtherView = sizeof(void*) == 8 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
    const LSTATUS status =
        RegOpenKeyExW(path.root->key, path.subkey.c_str(), 0, KEY_QUERY_VALUE | kOtherView, &other);
    if (status == ERROR_SUCCESS) RegCloseKey(other);
    return status == ERROR_SUCCESS;
  }

  std::wstring LastErrorText() override { return SystemMessage(static_cast<DWORD>(lastError)); }

 private:
  /// Turns "not found" into a failure: a write has no such outcome.
  static HRESULT Failure(LSTATUS status) {
    const HRESULT result = Outcome(status);
    if (result != S_FALSE) return result;
    lastError = status;
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
  }
};

}  // namespace

RegistryStore& SystemRegistryStore() {
  static SystemRegistry registry;
  return registry;
}

}  // namespace kellanseek::platform
