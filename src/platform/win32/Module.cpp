#include "platform/Module.h"

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr std::size_t kLongestPath = 32768;

}  // namespace

std::wstring CurrentModulePath() {
  HMODULE module = nullptr;
  if (GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<LPCWSTR>(&CurrentModulePath), &module) == FALSE) {
    return {};
  }
  for (std::size_t size = MAX_PATH; size <= kLongestPath; size *= 2) {
    std::wstring path(size, L'\0');
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(size));
    if (length == 0) return {};
    if (length < size) {
      path.resize(length);
      return path;
    }
  }
  return {};
}

ModuleFunction FindModuleFunction(const std::wstring& path, const char* name, std::wstring& why) {
  const HMODULE module = LoadLibraryW(path.c_str());
  const FARPROC found = module == nullptr ? nullptr : GetProcAddress(module, name);
  if (found == nullptr) why = SystemMessage(GetLastError());
  return reinterpret_cast<ModuleFunction>(reinterpret_cast<void*>(found));
}

}  // namespace kellanseek::platform
