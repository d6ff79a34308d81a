#pragma once

#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "client/Listener.h"

namespace kellanseek::tools {

/// Turns what the component tells into events for people: with the state before, and with each controller new
/// once.
class EventHistory {
 public:
  /// A controller that is listed at the start. None when it has been told of already.
  std::optional<Event> Listed(const Controller& controller);

  /// News of the controller `id`; `now` is its state, none when it is gone. None when the news are told
  /// already.
  std::optional<Event> Changed(ULONG id, KelCtrlAvailability availability, LanSeekEventReason reason,
                               std::optional<Controller> now);

 private:
  std::unordered_map<ULONG, Controller> known_;
  std::unordered_set<ULONG>
      announced_;  ///< Told as new before the component could; its own event may still come.
};

}  // namespace kellanseek::tools
