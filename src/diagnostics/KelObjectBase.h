#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <kellanseek/com.h>

#include "diagnostics/Trace.h"
#include "platform/Mutex.h"

namespace kellanseek::diagnostics {

/// Buffer size for an error message in characters, terminator included. Longer messages are truncated.
inline constexpr std::size_t kErrorBuffer = 1024;

/// Holds the text of an object's last failure: the message, the place of detection, then each place that
/// passed the failure on, innermost first ("message:unit[line]; unit[line]; "). All threads share one text
/// per object. Each operation is atomic and takes no other lock.
class CKelObjectBase {
 public:
  CKelObjectBase() = default;
  CKelObjectBase(const CKelObjectBase&) = delete;
  CKelObjectBase& operator=(const CKelObjectBase&) = delete;

  /// A copy of the text; null if nothing has failed yet. S_OK or E_OUTOFMEMORY.
  virtual HRESULT GetErrorText(BSTR* text);
  /// Replaces the text by a copy; null clears it. S_OK, or E_OUTOFMEMORY with the text unchanged.
  virtual HRESULT SetErrorText(const wchar_t* text);

  /// Replaces the text by a message and its place. Throws std::bad_alloc with the text unchanged.
  void StoreError(std::wstring_view message, std::wstring_view unit, int line);
  /// Appends a place to the text. Throws std::bad_alloc with the text unchanged.
  void AppendLocation(std::wstring_view unit, int line);
  /// Replaces the text by another holder's and appends a place. Throws std::bad_alloc with the text
  /// unchanged.
  void TakeErrorFrom(CKelObjectBase& inner, std::wstring_view unit, int line = __builtin_LINE());

 protected:
  ~CKelObjectBase() = default;

 private:
  std::optional<std::wstring> ErrorText();

  platform::Mutex mutex_{platform::LockOrder::ErrorText};
  std::optional<std::wstring> text_ GUARDED_BY(mutex_);
};

/// A message pattern and the line it is stated on.
struct ErrorMessage {
  ErrorMessage(const wchar_t* text, int sourceLine = __builtin_LINE()) : pattern(text), line(sourceLine) {}
  ErrorMessage(std::wstring_view text, int sourceLine = __builtin_LINE()) : pattern(text), line(sourceLine) {}

  std::wstring_view pattern;
  int line;
};

/// Stores a failure of `unit` in `holder` and returns `result`, so that a method can end with the call. The
/// pattern may contain %s, %d and %x. Throws std::bad_alloc if the text cannot be stored.
template <typename... Arguments>
HRESULT ReportError(CKelObjectBase& holder, HRESULT result, std::wstring_view unit, ErrorMessage message,
                    const Arguments&... arguments) {
  wchar_t buffer[kErrorBuffer];
  holder.StoreError(FormatMessageText(message.pattern, {MessageArgument(arguments)...}, buffer), unit,
                    message.line);
  return result;
}

/// Passes on an inner failure: appends the caller's place to the text in `holder` and returns `result`.
inline HRESULT PassError(CKelObjectBase& holder, HRESULT result, std::wstring_view unit,
                         int line = __builtin_LINE()) {
  holder.AppendLocation(unit, line);
  return result;
}

}  // namespace kellanseek::diagnostics
