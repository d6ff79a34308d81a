#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include <kellanseek/KelLanSeek.h>

#include "diagnostics/KelObjectBase.h"
#include "events/EventQueue.h"
#include "platform/Event.h"
#include "platform/Mutex.h"

namespace kellanseek::events {

/// The first cookie that is given out.
inline constexpr std::uint32_t kFirstCookie = 10;

/// With more events waiting than this, a controller that comes and goes before a subscriber hears of it is
/// left out.
inline constexpr std::size_t kLongBacklog = 65536;

/// One subscription. Its subscriber entry and its queued events share it, so the sink is released when the
/// last of them goes.
struct Subscriber {
  std::uint32_t subscriptionType = 0;  ///< The one lanSeekID that is wanted; 0 for all.
  KelComPtr<IKelObjectEvents> sink;
  std::uint32_t userDef = 0;
  std::uint32_t cookie = 0;

  bool Wants(std::uint32_t lanSeekID) const { return subscriptionType == 0 || subscriptionType == lanSeekID; }
};
using SubscriberRef = std::shared_ptr<const Subscriber>;

/// One delivery that is still to be made to one subscriber.
struct QueuedEvent {
  std::uint32_t lanSeekID = 0;
  KelCtrlAvailability availability = CtrlAvailable;
  LanSeekEventReason reason = CtrlNew;
  SubscriberRef subscriber;
  std::uint64_t key = 0;   ///< The lanSeekID and the subscriber's cookie.
  bool unheardOf = false;  ///< The subscriber has not been told that there is such a controller.
};

/// The subscribers of one component object and the events queued for them. All operations may be called from
/// any thread; none calls a sink, and a sink is released only with no lock held. Releasing one runs client
/// code, which may go as far as destroying the component: RemoveSubscriber() and GetNextEvent() touch nothing
/// after it.
class CEventItemsDB final : public diagnostics::CKelObjectBase, public EventQueue {
 public:
  CEventItemsDB() = default;

  /// Adds a subscription, which takes over the sink, and gives its cookie. E_FAIL, with an error text and the
  /// cookie used up, when memory runs out.
  HRESULT AddSubscriber(std::uint32_t subscriptionType, KelComPtr<IKelObjectEvents> sink,
                        std::uint32_t userDef, ULONG* cookie);
  /// Removes a subscription; events that are queued for it are still delivered. E_FAIL, with an error text,
  /// when there is none with that cookie.
  HRESULT RemoveSubscriber(std::uint32_t cookie);

  /// A subscriber has at most one event pending per controller. A newer one takes the place of the pending
  /// one, except that an update leaves "new" and "reconnected" as they are, and that beyond kLongBacklog the
  /// removal of a controller that the subscriber has not heard of takes the pending one away.
  bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                  LanSeekEventReason reason) noexcept override;

  /// Takes the oldest event from the queue, replacing what `event` held. False when there is none; only then
  /// does the next QueueEvent() signal.
  bool GetNextEvent(QueuedEvent& event);

  /// Auto-reset; signalled when there is something to take after GetNextEvent() found nothing.
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

  platform::Mutex subscriberMutex_ ACQUIRED_BEFORE(queueMutex_);
  /// By cookie, which is also the order in which they came.
  std::map<std::uint32_t, SubscriberRef> subscribers_ GUARDED_BY(subscriberMutex_);
  std::uint32_t nextCookie_ GUARDED_BY(subscriberMutex_) = kFirstCookie;

  platform::Mutex queueMutex_;
  Queue queue_ GUARDED_BY(queueMutex_);
  bool signalNext_ GUARDED_BY(queueMutex_) = true;
};

}  // namespace kellanseek::events
