#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/DebugOutput.h"

namespace kellanseek::diagnostics {

/// Characters of a trace message, its end mark included; longer messages are cut.
inline constexpr std::size_t kTraceBuffer = 100;
inline constexpr std::size_t kLongTraceBuffer = 200;

/// One argument of a message: a text for %s, or a number for %d and %x.
class MessageArgument {
 public:
  MessageArgument(std::wstring_view text) : text_(text), isText_(true) {}
  MessageArgument(const std::wstring& text) : text_(text), isText_(true) {}
  MessageArgument(const wchar_t* text) : text_(text != nullptr ? text : L""), isText_(true) {}
  /// The number's low 32 bits.
  template <std::integral Number>
  MessageArgument(Number number) : number_(static_cast<std::int32_t>(number)) {}

  bool IsText() const { return isText_; }
  std::wstring_view Text() const { return text_; }
  std::int32_t Number() const { return number_; }

 private:
  std::wstring_view text_;
  std::int32_t number_ = 0;
  bool isText_ = false;
};

/// Fills a message pattern with %s (text), %d (signed decimal), %x (32-bit lower-case hexadecimal) and %% in
/// it; the result has fewer than `buffer` characters. The same on every system, whatever its own printf makes
/// of %s.
std::wstring FormatMessageText(std::wstring_view pattern, std::initializer_list<MessageArgument> arguments,
                               std::size_t buffer);

/// Writes the error traces of one source unit to the debugger output channel: five writes each,
/// "ReleaseErrorTrace: \nFile: ", the unit, "\nError: ", the message, "\n". Callable from any thread. Cheap
/// to copy.
class Tracer {
 public:
  /// `unit` is a literal; `output` outlives the tracer.
  Tracer(platform::DebugOutput& output, const wchar_t* unit) : output_(&output), unit_(unit) {}

  template <typename... Arguments>
  void Error(std::wstring_view pattern, const Arguments&... arguments) const {
    if (output_->Enabled()) Write(FormatMessageText(pattern, {MessageArgument(arguments)...}, kTraceBuffer));
  }
  /// The same with room for longer messages.
  template <typename... Arguments>
  void LongError(std::wstring_view pattern, const Arguments&... arguments) const {
    if (output_->Enabled())
      Write(FormatMessageText(pattern, {MessageArgument(arguments)...}, kLongTraceBuffer));
  }

  platform::DebugOutput& Output() const { return *output_; }

 private:
  void Write(const std::wstring& message) const;

  platform::DebugOutput* output_;
  const wchar_t* unit_;
};

}  // namespace kellanseek::diagnostics
