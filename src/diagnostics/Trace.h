#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "platform/DebugOutput.h"

namespace kellanseek::diagnostics {

/// Buffer sizes for a trace message in characters, terminator included. Longer messages are truncated.
inline constexpr std::size_t kTraceBuffer = 100;
inline constexpr std::size_t kLongTraceBuffer = 200;

/// An argument of a message: a text for %s, or a number for %d and %x.
class MessageArgument {
 public:
  MessageArgument(std::wstring_view text) : text_(text) {}
  MessageArgument(const std::wstring& text) : text_(text) {}
  MessageArgument(const wchar_t* text) : text_(text != nullptr ? text : L"") {}
  /// A text of the system or of the program. Characters outside ASCII become '?'.
  MessageArgument(std::string_view text) : systemText_(text) {}
  /// Only the low 32 bits of the number are kept.
  template <std::integral Number>
  MessageArgument(Number number) : number_(static_cast<std::int32_t>(number)) {}

  std::wstring_view Text() const { return text_; }
  std::string_view SystemText() const { return systemText_; }
  std::int32_t Number() const { return number_; }

 private:
  // At least one of the two texts is empty.
  std::wstring_view text_;
  std::string_view systemText_;
  std::int32_t number_ = 0;
};

/// Expands %s (text), %d (signed decimal), %x (32-bit lower-case hexadecimal) and %% in a message pattern.
/// The result lies in `buffer` and is shorter than it. Identical on every system, while the systems' own
/// printf functions disagree on %s.
std::wstring_view FormatMessageText(std::wstring_view pattern,
                                    std::initializer_list<MessageArgument> arguments,
                                    std::span<wchar_t> buffer) noexcept;

/// Writes the error traces of one source unit to the debugger output channel, five writes each:
/// "ReleaseErrorTrace: \nFile: ", the unit, "\nError: ", the message, "\n". Thread-safe and cheap to copy.
/// Allocates no memory and never throws, because exhausted memory is among the failures to trace.
class Tracer {
 public:
  /// `unit` must be a literal; `output` must outlive the tracer.
  Tracer(platform::DebugOutput& output, const wchar_t* unit) : output_(&output), unit_(unit) {}

  template <typename... Arguments>
  void Error(std::wstring_view pattern, const Arguments&... arguments) const noexcept {
    wchar_t buffer[kTraceBuffer];
    if (output_->Enabled()) Write(FormatMessageText(pattern, {MessageArgument(arguments)...}, buffer));
  }
  /// Like Error(), for longer messages.
  template <typename... Arguments>
  void LongError(std::wstring_view pattern, const Arguments&... arguments) const noexcept {
    wchar_t buffer[kLongTraceBuffer];
    if (output_->Enabled()) Write(FormatMessageText(pattern, {MessageArgument(arguments)...}, buffer));
  }

  platform::DebugOutput& Output() const { return *output_; }

 private:
  void Write(std::wstring_view message) const noexcept;

  platform::DebugOutput* output_;
  const wchar_t* unit_;
};

}  // namespace kellanseek::diagnostics
