#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "controllers/CtrlTable.h"
#include "diagnostics/QueueLoad.h"
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
  HostNames(controllers::CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
            platform::Event& stopEngine, platform::DebugOutput& debugOutput);

  /// Queues a look-up, unless one is already queued for the controller. May be called with the table lock
  /// held. Does not throw, because callers report in the middle of a change that must be completed; if memory
  /// is exhausted, only the name is missing.
  void QueueHostNameLookup(std::uint32_t lanSeekID, platform::Ipv4 address) noexcept EXCLUDES(queueLock_);
  /// Drops a controller's queued look-up. May be called with the table lock held.
  void Forget(std::uint32_t lanSeekID) EXCLUDES(queueLock_);

  /// Performs all queued look-ups. Returns false once the stop event is set. Called by the thread, or
  /// directly by tests.
  bool ResolveQueued() EXCLUDES(queueLock_);

  diagnostics::QueueLoad Load() const EXCLUDES(queueLock_);

  /// The thread's body. Looks up names until the stop event is set.
  void HostNameThread();

 private:
  struct Pending {
    std::uint32_t lanSeekID;
    platform::Ipv4 address;
  };
  using Queue = std::list<Pending>;

  /// Takes the oldest element of the queue, if there is one.
  std::optional<Pending> TakeNext() EXCLUDES(queueLock_);
  void Store(std::uint32_t lanSeekID, const std::string& hostName);

  controllers::CtrlTable& table_;
  events::EventQueue& events_;
  platform::ReverseLookup& lookup_;
  platform::Event& stopEngine_;
  diagnostics::StepTrace failed_;
  platform::Event queued_{platform::Event::Kind::AutoReset};
  mutable platform::Mutex queueLock_{platform::LockOrder::HostNames};
  std::size_t longestQueue_ GUARDED_BY(queueLock_) = 0;
  Queue queue_ GUARDED_BY(queueLock_);
  std::unordered_map<std::uint32_t, Queue::iterator> byId_ GUARDED_BY(queueLock_);
};

}  // namespace kellanseek::engine
