#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>

#include "controllers/CtrlTable.h"
#include "diagnostics/StepTrace.h"
#include "events/EventQueue.h"
#include "platform/Event.h"
#include "platform/Ipv4.h"
#include "platform/Mutex.h"
#include "platform/ReverseLookup.h"

namespace kellanseek::engine {

/// Looks up the host names of controllers one after the other on a thread of its own, so that a slow name
/// service delays nothing else.
class HostNames {
 public:
  HostNames(CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
            platform::Event& stopEngine, platform::DebugOutput& debugOutput);

  /// Queues a look-up, unless one for that controller waits already. Callable with the table lock held.
  void QueueHostNameLookup(std::uint32_t lanSeekID, platform::Ipv4 address) EXCLUDES(queueLock_);
  /// Drops the look-up queued for a controller. Callable with the table lock held.
  void Forget(std::uint32_t lanSeekID) EXCLUDES(queueLock_);

  /// Looks up all queued names. Returns false when the stop event has been set. Called by the thread, and by
  /// tests without one.
  bool ResolveQueued() EXCLUDES(queueLock_);

  /// The thread body: looks names up until the stop event is set.
  void HostNameThread();

 private:
  struct Pending {
    std::uint32_t lanSeekID = 0;
    platform::Ipv4 address = platform::kNoAddress;
  };
  using Queue = std::list<Pending>;

  /// Moves the oldest element of the queue to `next`, which is empty; false when nothing is queued.
  bool TakeNext(Queue& next) EXCLUDES(queueLock_);
  void Store(std::uint32_t lanSeekID, const std::string& hostName);

  CtrlTable& table_;
  events::EventQueue& events_;
  platform::ReverseLookup& lookup_;
  platform::Event& stopEngine_;
  diagnostics::StepTrace failed_;
  platform::Event queued_{platform::Event::Kind::AutoReset};
  platform::Mutex queueLock_;
  Queue queue_ GUARDED_BY(queueLock_);
  std::unordered_map<std::uint32_t, Queue::iterator> byId_ GUARDED_BY(queueLock_);
};

}  // namespace kellanseek::engine
