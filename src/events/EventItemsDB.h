#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include <kellanseek/KelLanSeek.h>

#include "diagnostics/KelObjectBase.h"
#include "diagnostics/QueueLoad.h"
#include "events/EventQueue.h"
#include "platform/Event.h"
#include "platform/Mutex.h"

namespace kellanseek::events {

/// The first cookie issued.
inline constexpr std::uint32_t kFirstCookie = 10;

/// Above this number of waiting events, a controller that is removed before a subscriber has heard of it is
/// not reported. Otherwise a hanging sink and a stream of forged controllers would grow the queue without
/// limit.
inline constexpr std::size_t kLongBacklog = 65536;

/// A subscription. The list of subscribers and the queued events share it; the sink is released with the last
/// of them.
struct Subscriber {
  std::uint32_t subscriptionType;  ///< The only lanSeekID of interest; 0 for all.
  KelComPtr<IKelObjectEvents> sink;
  std::uint32_t userDef;
  std::uint32_t cookie;

  bool Wants(std::uint32_t lanSeekID) const { return subscriptionType == 0 || subscriptionType == lanSeekID; }
};
using SubscriberRef = std::shared_ptr<const Subscriber>;

/// A delivery to one subscriber that is still due.
struct QueuedEvent {
  std::uint32_t lanSeekID;
  KelCtrlAvailability availability;
  LanSeekEventReason reason;
  SubscriberRef subscriber;
  std::uint64_t key;  ///< Combines the lanSeekID and the subscriber's cookie.
  bool unheardOf;     ///< The subscriber has not yet heard of the controller.
};

/// The subscribers of a component object and their queued events. Thread-safe. No method calls a sink, and
/// sinks are released with no lock held, because releasing one runs client code, which may even destroy the
/// component: RemoveSubscriber() and GetNextEvent() use no member afterwards.
class CEventItemsDB final : public diagnostics::CKelObjectBase, public EventQueue {
 public:
  /// Adds a subscription, which takes over the sink, and stores its cookie. If memory is exhausted, returns
  /// E_FAIL with an error text; the cookie is used up all the same.
  HRESULT AddSubscriber(std::uint32_t subscriptionType, KelComPtr<IKelObjectEvents> sink,
                        std::uint32_t userDef, ULONG* cookie);
  /// Removes a subscription. Its queued events are still delivered. Returns E_FAIL, with an error text, for
  /// an unknown cookie.
  HRESULT RemoveSubscriber(std::uint32_t cookie);

  /// A subscriber has at most one pending event per controller, so that the queue is bounded and subscribers
  /// receive the current state. A newer event replaces the pending one, with two exceptions: an update leaves
  /// "new" and "reconnected" in place, and beyond kLongBacklog the removal of a controller that the
  /// subscriber has not heard of deletes the pending event.
  bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                  LanSeekEventReason reason) noexcept override;

  /// Takes the oldest event from the queue. Returns nothing if the queue is empty; only then will the next
  /// QueueEvent() set the signal.
  std::optional<QueuedEvent> GetNextEvent();

  diagnostics::QueueLoad Load() const;

  /// Auto-reset event, set when the queue has an event again after GetNextEvent() found it empty.
  platform::Event& QueueSignal() { return queueSignal_; }

 private:
  struct InOrder {};
  struct ByKey {};
  using Queue = boost::multi_index_container<
      QueuedEvent, boost::multi_index::indexed_by<
                       boost::multi_index::sequenced<boost::multi_index::tag<InOrder>>,
                       boost::multi_index::hashed_unique<
                           boost::multi_index::tag<ByKey>,
                           boost::multi_index::member<QueuedEvent, std::uint64_t, &QueuedEvent::key>>>>;

  bool QueueFor(const SubscriberRef& subscriber, std::uint32_t lanSeekID, KelCtrlAvailability availability,
                LanSeekEventReason reason) REQUIRES(queueMutex_);

  platform::Event queueSignal_{platform::Event::Kind::AutoReset};

  platform::Mutex subscriberMutex_ ACQUIRED_BEFORE(queueMutex_){platform::LockOrder::Subscribers};
  /// By cookie, which is also the order of subscription.
  std::map<std::uint32_t, SubscriberRef> subscribers_ GUARDED_BY(subscriberMutex_);
  std::uint32_t nextCookie_ GUARDED_BY(subscriberMutex_) = kFirstCookie;

  mutable platform::Mutex queueMutex_{platform::LockOrder::EventQueue};
  std::size_t longestQueue_ GUARDED_BY(queueMutex_) = 0;
  Queue queue_ GUARDED_BY(queueMutex_);
  bool signalNext_ GUARDED_BY(queueMutex_) = true;
};

}  // namespace kellanseek::events
