#pragma once

// Includes the Windows headers in the one order that works and defines RAII owners for their handles. For use
// in this folder only.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <winsock2.h>

#include <string>
#include <utility>

namespace kellanseek::platform {

/// Owns a kernel object handle. Null and INVALID_HANDLE_VALUE both stand for none.
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  ~UniqueHandle() { Close(); }
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) {
      Close();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }

  HANDLE get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  void Close() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }

  HANDLE handle_ = nullptr;
};

/// The system's message for an error code, without its line end.
std::wstring SystemMessage(DWORD error);

/// An environment variable; empty if it is not set.
std::wstring EnvironmentText(const std::wstring& name);

/// The address of an exported function of a loaded system module, or null. For functions that older systems
/// lack.
template <typename Function>
Function* FindSystemFunction(const wchar_t* module, const char* name) {
  const HMODULE handle = GetModuleHandleW(module);
  if (handle == nullptr) return nullptr;
  // Through void*, because a direct cast between function types draws a warning.
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

}  // namespace kellanseek::platform
