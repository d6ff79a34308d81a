#pragma once

#include <memory>

#include "platform/Event.h"

namespace kellanseek::platform {

/// While it lives, a request to end the program (Ctrl-C, termination, the end of its terminal) sets an event
/// in place of ending it; a second request ends it at once. Made before the program starts any thread, and
/// once at a time.
class StopSignals {
 public:
  /// `stop` outlives this object.
  explicit StopSignals(Event& stop);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

}  // namespace kellanseek::platform
