#pragma once

#include <memory>
#include <string>

namespace kellanseek::platform {

/// Collects the traces of the component that this process loads afterwards, in place of the sink that the
/// user has chosen.
class TraceCapture {
 public:
  virtual ~TraceCapture() = default;

  /// The traces so far, in UTF-8.
  virtual std::string Read() = 0;
};

/// Call it while no other thread runs and before the component is loaded. Returns null, with the reason in
/// `why` (UTF-8), if the traces cannot be had.
std::unique_ptr<TraceCapture> CaptureTraces(std::string& why);

}  // namespace kellanseek::platform
