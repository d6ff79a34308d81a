#pragma once

#include <cstdint>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::events {

/// Takes the change events of controllers. Callable from any thread, also with the controller table locked;
/// never waits for a client.
class EventQueue {
 public:
  virtual ~EventQueue() = default;

  /// Queues one event for every subscriber; true when the last insertion succeeded.
  virtual bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                          LanSeekEventReason reason) = 0;
};

}  // namespace kellanseek::events
