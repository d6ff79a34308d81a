#pragma once

#include <cstdint>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::events {

/// Takes the change events of controllers. Callable from any thread, also with the controller table locked;
/// never waits for a client.
class EventQueue {
 public:
  virtual ~EventQueue() = default;

  /// Queues one event for every subscriber; true when the last insertion succeeded. What is told in the
  /// middle of a change must not end it half-way, so a shortage of memory loses the event and no more.
  virtual bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                          LanSeekEventReason reason) noexcept = 0;
};

}  // namespace kellanseek::events
