#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

#include "diagnostics/Trace.h"
#include "platform/Mutex.h"

namespace kellanseek::diagnostics {

/// Characters of an error message, its end mark included; longer messages are cut.
inline constexpr std::size_t kErrorBuffer = 1024;

/// Holds the text of an object's last failure: the message, then where it was detected, then each place that
/// passed it on, innermost first ("message:unit[line]; unit[line]; "). One text per object, shared by all
/// threads; each operation is atomic against the others, and takes no other lock.
class CKelObjectBase {
 public:
  CKelObjectBase() = default;
  CKelObjectBase(const CKelObjectBase&) = delete;
  CKelObjectBase& operator=(const CKelObjectBase&) = delete;

  /// A fresh copy of the text, null when there was no failure yet. S_OK, or E_OUTOFMEMORY.
  virtual HRESULT GetErrorText(BSTR* text);
  /// Replaces the text by a copy; null clears it. S_OK, or E_OUTOFMEMORY with the text as it was.
  virtual HRESULT SetErrorText(const wchar_t* text);

  /// Replaces the text by a message and its place. Throws std::bad_alloc with the text as it was.
  void StoreError(std::wstring_view message, std::wstring_view unit, int line);
  /// Adds a place to the text. Throws std::bad_alloc with the text as it was.
  void AppendLocation(std::wstring_view unit, int line);
  /// Takes over the text of another holder and adds a place to it. Throws std::bad_alloc with the text as it
  /// was.
  void TakeErrorFrom(CKelObjectBase& inner, std::wstring_view unit, int line = __builtin_LINE());

 protected:
  ~CKelObjectBase() = default;

 private:
  std::optional<std::wstring> ErrorText();

  platform::Mutex mutex_;
  std::optional<std::wstring> text_ GUARDED_BY(mutex_);
};

/// A message pattern together with the line that states it.
struct ErrorMessage {
  ErrorMessage(const wchar_t* text, int sourceLine = __builtin_LINE()) : pattern(text), line(sourceLine) {}
  ErrorMessage(std::wstring_view text, int sourceLine = __builtin_LINE()) : pattern(text), line(sourceLine) {}

  std::wstring_view pattern;
  int line;
};

/// Stores a failure of `unit` in `holder` and returns `result`, so that a method can end with it. The pattern
/// takes %s, %d and %x. Throws std::bad_alloc when the text cannot be stored.
template <typename... Arguments>
HRESULT ReportError(CKelObjectBase& holder, HRESULT result, std::wstring_view unit, ErrorMessage message,
                    const Arguments&... arguments) {
  wchar_t buffer[kErrorBuffer];
  holder.StoreError(FormatMessageText(message.pattern, {MessageArgument(arguments)...}, buffer), unit,
                    message.line);
  return result;
}

/// Passes an inner failure on: adds the caller's place to the text in `holder` and returns `result`.
inline HRESULT PassError(CKelObjectBase& holder, HRESULT result, std::wstring_view unit,
                         int line = __builtin_LINE()) {
  holder.AppendLocation(unit, line);
  return result;
}

}  // namespace kellanseek::diagnostics
