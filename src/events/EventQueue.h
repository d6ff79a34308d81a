#pragma once

#include <cstdint>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::events {

/// Receives the change events of controllers. Thread-safe, also with the table lock held. Never waits for a
/// client.
class EventQueue {
 public:
  virtual ~EventQueue() = default;

  /// Queues an event for every subscriber. Returns whether the last insertion succeeded. Does not throw,
  /// because callers report in the middle of a change that must be completed; if memory is exhausted, only
  /// the event is lost.
  virtual bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                          LanSeekEventReason reason) noexcept = 0;
};

}  // namespace kellanseek::events
