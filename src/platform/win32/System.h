#pragma once

// The Windows headers in the one order that works, and the owners of what they hand out. For this folder
// only.

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

/// Owns one kernel object handle; null and INVALID_HANDLE_VALUE both stand for "none".
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

/// The system's words for one of its error codes, without the line end that it puts there.
std::wstring SystemMessage(DWORD error);

/// A variable of the environment; empty when it is not set.
std::wstring EnvironmentText(const std::wstring& name);

/// The address of an exported function of a loaded system module, for functions that older systems lack; null
/// when it is not there.
template <typename Function>
Function* FindSystemFunction(const wchar_t* module, const char* name) {
  const HMODULE handle = GetModuleHandleW(module);
  if (handle == nullptr) return nullptr;
  // By way of void*: a direct cast between function types of different signatures draws a warning.
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

}  // namespace kellanseek::platform
