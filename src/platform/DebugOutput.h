#pragma once

#include <string_view>

namespace kellanseek::platform {

/// Where diagnostic texts go. Write() is one write to the output channel and may be called from any thread.
class DebugOutput {
 public:
  virtual ~DebugOutput() = default;

  /// False when nobody could ever see what is written; callers may then skip making the text.
  virtual bool Enabled() const = 0;
  virtual void Write(std::wstring_view text) = 0;
};

/// The process's debugger output channel. On Linux the sink that the environment variable KELLANSEEK_TRACE
/// names when it is first used: "stderr", "syslog" or "file:PATH" (appended to, and turned over once at
/// 10 MiB). Nothing is written when it is unset; a value that means nothing is told in one line on stderr.
/// On Windows what debuggers read, and a copy to "stderr" or "file:PATH" when that is set.
DebugOutput& ProcessDebugOutput();

}  // namespace kellanseek::platform
