#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "diagnostics/Trace.h"
#include "platform/Clock.h"

namespace kellanseek::diagnostics {

/// Traces exceptions that end single steps of a thread's loop, at most once a minute, because the same
/// failure may recur with every step. Passed to platform::RunStep(). Not thread-safe.
class StepTrace {
 public:
  /// Returns milliseconds; may wrap around.
  using Clock = std::uint32_t (*)();

  /// `thread` is the thread's name and must be a literal.
  StepTrace(const Tracer& tracer, const wchar_t* thread, Clock clock = &platform::TickCount)
      : tracer_(tracer), thread_(thread), clock_(clock) {}

  void operator()(std::string_view what);

 private:
  Tracer tracer_;
  const wchar_t* thread_;
  Clock clock_;
  std::optional<std::uint32_t> lastTold_;
};

}  // namespace kellanseek::diagnostics
