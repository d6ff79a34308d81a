#include "events/EventItemsDB.h"

#include <algorithm>
#include <new>
#include <utility>

#include "diagnostics/UnitNames.h"

namespace kellanseek::events {
namespace {

std::shared_ptr<Subscriber> MakeSubscriber(std::uint32_t subscriptionType, KelComPtr<IKelObjectEvents>& sink,
                                           std::uint32_t userDef) {
  try {
    return std::make_shared<Subscriber>(Subscriber{subscriptionType, std::move(sink), userDef, 0});
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

std::uint64_t KeyOf(std::uint32_t lanSeekID, std::uint32_t cookie) {
  return (std::uint64_t{lanSeekID} << 32) | cookie;
}

/// "New" and "reconnected" tell a subscriber more than the "updated" that follows.
bool KeepsPending(const QueuedEvent& pending, KelCtrlAvailability availability, LanSeekEventReason reason) {
  return availability == CtrlAvailable && reason == CtrlUpdated &&
         (pending.reason == CtrlNew || pending.reason == CtrlReconnected);
}

}  // namespace

HRESULT CEventItemsDB::AddSubscriber(std::uint32_t subscriptionType, KelComPtr<IKelObjectEvents> sink,
                                     std::uint32_t userDef, ULONG* cookie) {
  const std::shared_ptr<Subscriber> subscriber = MakeSubscriber(subscriptionType, sink, userDef);
  try {
    const platform::MutexLock lock(subscriberMutex_);
    *cookie = nextCookie_++;
    if (subscriber != nullptr) {
      subscriber->cookie = *cookie;
      if (subscribers_.emplace(*cookie, subscriber).second) return S_OK;
    }
  } catch (const std::bad_alloc&) {
    // Reported like a subscription for which there is no memory at all.
  }
  return diagnostics::ReportError(*this, E_FAIL, diagnostics::kEventListUnit,
                                  L"CEventItemsDB::AddSubscriber. Failed to insert subscriber into list.");
}

HRESULT CEventItemsDB::RemoveSubscriber(std::uint32_t cookie) {
  SubscriberRef removed;
  {
    const platform::MutexLock lock(subscriberMutex_);
    if (const auto found = subscribers_.find(cookie); found != subscribers_.end()) {
      removed = std::move(found->second);
      subscribers_.erase(found);
    }
  }
  if (removed != nullptr) return S_OK;
  return diagnostics::ReportError(*this, E_FAIL, diagnostics::kEventListUnit, L"Subscriber not found");
}

bool CEventItemsDB::QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                               LanSeekEventReason reason) noexcept {
  bool queued = true;
  {
    const platform::MutexLock subscriberLock(subscriberMutex_);
    const platform::MutexLock queueLock(queueMutex_);
    for (const auto& entry : subscribers_) queued = QueueFor(entry.second, lanSeekID, availability, reason);
    longestQueue_ = std::max(longestQueue_, queue_.size());
    if (!signalNext_ || queue_.empty()) return queued;
    signalNext_ = false;
  }
  // Without the locks, so that the worker does not wake up only to wait for them.
  queueSignal_.Set();
  return queued;
}

bool CEventItemsDB::QueueFor(const SubscriberRef& subscriber, std::uint32_t lanSeekID,
                             KelCtrlAvailability availability, LanSeekEventReason reason) {
  const std::uint64_t key = KeyOf(lanSeekID, subscriber->cookie);
  auto& byKey = queue_.get<ByKey>();
  if (const auto pending = byKey.find(key); pending != byKey.end()) {
    if (KeepsPending(*pending, availability, reason)) return true;
    if (availability == CtrlRemoved && pending->unheardOf && queue_.size() > kLongBacklog) {
      byKey.erase(pending);
      return true;
    }
    return byKey.modify(pending, [&](QueuedEvent& event) {
      event.availability = availability;
      event.reason = reason;
    });
  }
  try {
    return queue_.push_back({lanSeekID, availability, reason, subscriber, key, reason == CtrlNew}).second;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

diagnostics::QueueLoad CEventItemsDB::Load() const {
  const platform::MutexLock lock(queueMutex_);
  return {queue_.size(), longestQueue_};
}

std::optional<QueuedEvent> CEventItemsDB::GetNextEvent() {
  const platform::MutexLock lock(queueMutex_);
  if (queue_.empty()) {
    signalNext_ = true;
    return std::nullopt;
  }
  // Copied, because the queue hands out its elements for reading only.
  std::optional<QueuedEvent> oldest = queue_.front();
  queue_.pop_front();
  return oldest;
}

}  // namespace kellanseek::events
