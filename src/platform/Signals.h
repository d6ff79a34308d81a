#pragma once

#include <memory>

#include "platform/Event.h"

namespace kellanseek::platform {

/// During its lifetime, the first request to end the program (Ctrl-C, termination, closing the terminal) sets
/// an event instead; a second request ends the program at once. If the system refuses what listening takes, a
/// thread for instance, each request ends the program at once. Create it before any thread, and only one at a
/// time.
class StopSignals {
 public:
  /// `stop` must outlive this object.
  explicit StopSignals(Event& stop);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

 private:
  struct Native;
  std::unique_ptr<Native> native_;
};

}  // namespace kellanseek::platform
