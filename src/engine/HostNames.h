#pragma once

#include <cstdint>
#include <string>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include "controllers/CtrlTable.h"
#include "diagnostics/StepTrace.h"
#include "events/EventQueue.h"
#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/ReverseLookup.h"

namespace kellanseek::engine {

/// Finds the host names of controllers, one after the other, on a thread of its own, so that a slow name
/// service holds nobody else up.
class HostNames {
 public:
  HostNames(CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
            platform::Event& stopEngine, platform::DebugOutput& debugOutput);

  /// Queues a look-up, unless one for that controller waits already. Callable with the table lock held.
  void QueueHostNameLookup(std::uint32_t lanSeekID, const std::wstring& address) EXCLUDES(queueLock_);
  /// Drops the look-up queued for a controller. Callable with the table lock held.
  void Forget(std::uint32_t lanSeekID) EXCLUDES(queueLock_);

  /// Looks up what is queued, one after the other; false when the stop event has been set. The thread calls
  /// it; tests do so without one.
  bool ResolveQueued() EXCLUDES(queueLock_);

  /// The thread body: looks names up until the stop event is set.
  void HostNameThread();

 private:
  struct Pending {
    std::uint32_t lanSeekID = 0;
    std::wstring address;
  };
  struct ById {};
  using Queue = boost::multi_index_container<
      Pending, boost::multi_index::indexed_by<
                   boost::multi_index::sequenced<>,
                   boost::multi_index::hashed_unique<
                       boost::multi_index::tag<ById>,
                       boost::multi_index::member<Pending, std::uint32_t, &Pending::lanSeekID>>>>;

  bool TakeNext(Pending& next) EXCLUDES(queueLock_);
  void Store(std::uint32_t lanSeekID, const std::string& hostName);

  CtrlTable& table_;
  events::EventQueue& events_;
  platform::ReverseLookup& lookup_;
  platform::Event& stopEngine_;
  diagnostics::StepTrace failed_;
  platform::Event queued_{platform::Event::Kind::AutoReset};
  platform::Mutex queueLock_;
  Queue queue_ GUARDED_BY(queueLock_);
};

}  // namespace kellanseek::engine
