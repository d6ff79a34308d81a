#pragma once

#include "platform/win32/System.h"

#include <oleauto.h>

namespace kellanseek::platform {

/// A counted reference to a system COM object. For this folder only.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ~ComPointer() { Reset(); }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ComPointer(ComPointer&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPointer& operator=(ComPointer&& other) noexcept {
    if (this != &other) {
      Reset();
      pointer_ = std::exchange(other.pointer_, nullptr);
    }
    return *this;
  }

  /// Where an output parameter puts its reference; what was held before is let go.
  Interface** Out() {
    Reset();
    return &pointer_;
  }
  Interface* get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  void Reset() {
    if (Interface* const old = std::exchange(pointer_, nullptr); old != nullptr) old->Release();
  }

  Interface* pointer_ = nullptr;
};

/// Owns a BSTR.
class BasicString {
 public:
  BasicString() = default;
  explicit BasicString(const wchar_t* text) : text_(SysAllocString(text)) {}
  ~BasicString() { SysFreeString(text_); }
  BasicString(const BasicString&) = delete;
  BasicString& operator=(const BasicString&) = delete;

  BSTR* Out() {
    SysFreeString(std::exchange(text_, nullptr));
    return &text_;
  }
  BSTR get() const { return text_; }
  std::wstring Text() const { return text_ == nullptr ? std::wstring() : std::wstring(text_, SysStringLen(text_)); }

 private:
  BSTR text_ = nullptr;
};

}  // namespace kellanseek::platform
