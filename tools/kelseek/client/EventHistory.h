#pragma once

#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "client/Listener.h"

namespace kellanseek::kelseek {

/// Converts the component's notifications to events with the previous state. Reports each controller as new
/// only once. Not thread-safe.
class EventHistory {
 public:
  /// A controller listed at the start. Returns nullopt if it has already been reported.
  std::optional<Event> Listed(const Controller& controller);

  /// A notification about the controller `id`. `now` is its state, nullopt if it is gone. Returns nullopt if
  /// there is nothing new to report.
  std::optional<Event> Changed(ULONG id, KelCtrlAvailability availability, LanSeekEventReason reason,
                               std::optional<Controller> now);

 private:
  std::unordered_map<ULONG, Controller> known_;
  std::unordered_set<ULONG>
      announced_;  ///< Told as new before the component could; its own event may still come.
};

}  // namespace kellanseek::kelseek
