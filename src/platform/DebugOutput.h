#pragma once

#include <string_view>

namespace kellanseek::platform {

/// Sink for diagnostic texts. Each Write() is one write to the output channel. Thread-safe.
class DebugOutput {
 public:
  virtual ~DebugOutput() = default;

  /// False if no text can reach a reader, so callers may skip composing it.
  virtual bool Enabled() const = 0;
  virtual void Write(std::wstring_view text) = 0;
};

/// The debugger output channel of the process.
///
/// On Linux: the sink that the environment variable KELLANSEEK_TRACE names at the first use, "stderr",
/// "syslog" or "file:PATH" (appended to; renamed to PATH.1 at 10 MiB). Nothing is written if it is unset; an
/// invalid value is reported by one line on stderr. On Windows: the system's debugger output, with a copy to
/// the sink if the variable names "stderr" or "file:PATH".
DebugOutput& ProcessDebugOutput();

}  // namespace kellanseek::platform
