#include "platform/TraceCapture.h"

namespace kellanseek::platform {

std::unique_ptr<TraceCapture> CaptureTraces(std::string& why) {
  why = "On Windows traces go to a debugger, or a program that takes its place.";
  return nullptr;
}

}  // namespace kellanseek::platform
