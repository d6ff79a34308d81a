#pragma once

// The list of controllers and its changes as one sequence. Part of kellanseek/client.hpp.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <kellanseek/client/subscription.hpp>

namespace kellanseek::client {

enum class ChangeType {
  Listed,   ///< The controller is part of the list.
  Synced,   ///< A mark: the list is complete; what follows are changes.
  Added,    ///< A new controller.
  Changed,  ///< A property has changed, the availability for instance, or the controller came back unchanged.
  Removed,  ///< The controller is gone for good.
  Resync,   ///< A mark: changes were lost. Forget all controllers; the list follows anew.
};

inline std::string to_string(ChangeType type) {
  switch (type) {
    case ChangeType::Listed: return "listed";
    case ChangeType::Synced: return "synced";
    case ChangeType::Added: return "added";
    case ChangeType::Changed: return "changed";
    case ChangeType::Removed: return "removed";
    case ChangeType::Resync: return "resync";
  }
  return "?";
}

/// An element of a ChangeStream.
struct Change {
  ChangeType type = ChangeType::Synced;
  /// Its properties now; of a removed one the last known, with Availability::Removed. Marks have none.
  Controller controller;
  /// What the stream reported of it before; in Changed and Removed.
  std::optional<Controller> before;
  /// Not in marks, nor if the controller was read from the list.
  std::optional<Reason> reason;
  std::chrono::system_clock::time_point time;  ///< When the event arrived, or the list was read.
};

namespace detail {

/// What a stream has reported, from which it follows what an event means. Not thread-safe.
class ChangeHistory {
 public:
  /// A controller that the list has. nullopt if it was reported before.
  std::optional<Change> Listed(const Controller& now) {
    if (!known_.emplace(now.id, now).second) return std::nullopt;
    return Change{ChangeType::Listed, now, {}, {}, std::chrono::system_clock::now()};
  }

  /// An event, with the properties read after it; nullopt if they could not be read any more. Returns nullopt
  /// if there is nothing to report: the list was ahead of the event, or the controller has gone meanwhile, so
  /// that its removal follows.
  std::optional<Change> Told(const Event& event, std::optional<Controller> now) {
    const auto found = known_.find(event.id);
    if (event.availability == Availability::Removed) return Removed(event, found);
    if (!now) return std::nullopt;
    // Events of one controller tell its availability in the right order; a getter may be ahead of them.
    now->availability = event.availability;
    Change change{ChangeType::Changed, std::move(*now), {}, event.reason, event.time};
    if (found == known_.end()) {
      change.type = synced ? ChangeType::Added : ChangeType::Listed;
      known_.emplace(event.id, change.controller);
      return change;
    }
    if (event.reason == Reason::New || event.reason == Reason::Updated) {
      if (found->second == change.controller) return std::nullopt;
      change.reason = Reason::Updated;
    }
    change.before = std::exchange(found->second, change.controller);
    return change;
  }

  bool Knows(std::uint32_t id) const { return known_.count(id) != 0; }
  void Clear() noexcept {
    known_.clear();
    synced = false;
  }

  bool synced = false;  ///< Whether the list has been reported completely.

 private:
  using Known = std::unordered_map<std::uint32_t, Controller>;

  std::optional<Change> Removed(const Event& event, Known::iterator found) {
    if (found == known_.end()) return std::nullopt;
    Change change{ChangeType::Removed, found->second, std::move(found->second), event.reason, event.time};
    change.controller.availability = Availability::Removed;
    known_.erase(found);
    return change;
  }

  Known known_;
};

/// The queue between the component's event thread and the reader of a stream. Thread-safe.
///
/// Subscribed first and listed afterwards, so that there is no gap. Each controller is read and entered into
/// the history under the lock, whichever of the two finds it first, so that there is no doubling either. The
/// list is read when the reader asks, one controller at a time: a long list needs no room in the queue and
/// does not hold up the event thread.
class ChangeQueue {
 public:
  ChangeQueue(std::shared_ptr<const Component> component, std::size_t capacity)
      : component_(std::move(component)), capacity_((std::max)(capacity, std::size_t{1})) {
    subscription_ = Subscribe(
        component_, [this](const Event& event) { Told(event); }, 0);
  }
  ChangeQueue(const ChangeQueue&) = delete;
  ChangeQueue& operator=(const ChangeQueue&) = delete;

  std::optional<Change> Next(std::chrono::milliseconds timeout) {
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
    constexpr std::chrono::milliseconds kSweepPoll(50);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + (std::min)(timeout, kLongest);
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      if (std::optional<Change> change = Take(lock); change || cancelled_) return change;
      const Clock::time_point now = Clock::now();
      if (now >= end) return std::nullopt;
      const Clock::time_point wake = history_.synced ? end : (std::min)(end, now + kSweepPoll);
      changed_.wait_until(lock, wake, [this] { return cancelled_ || overflown_ || !queue_.empty(); });
    }
  }

  void Cancel() noexcept {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      cancelled_ = true;
    }
    changed_.notify_all();
  }

 private:
  // On the component's event thread.
  void Told(const Event& event) noexcept {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (overflown_) return;
      try {
        std::optional<Controller> now;
        if (event.availability != Availability::Removed) now = ReadController(*component_, event.id);
        if (auto change = history_.Told(event, std::move(now))) Append(std::move(*change));
      } catch (...) {  // Memory is exhausted, or the component failed: this change is lost.
        Overflow();
      }
    }
    changed_.notify_all();
  }

  void Append(Change change) {
    if (queue_.size() < capacity_) {
      queue_.push_back(std::move(change));
    } else {
      Overflow();
    }
  }

  void Overflow() noexcept {
    overflown_ = true;
    queue_.clear();
    history_.Clear();
  }

  // What is there without waiting.
  std::optional<Change> Take(std::unique_lock<std::mutex>& lock) {
    while (!cancelled_) {
      if (overflown_) {
        overflown_ = false;
        listing_ = {};
        return Mark(ChangeType::Resync);
      }
      if (!queue_.empty()) {
        Change change = std::move(queue_.front());
        queue_.pop_front();
        return change;
      }
      if (history_.synced) return std::nullopt;
      if (auto change = TakeListed()) return change;
      if (listing_.complete) {
        history_.synced = true;
        return Mark(ChangeType::Synced);
      }
      if (!FetchList(lock)) return std::nullopt;
    }
    return std::nullopt;
  }

  static Change Mark(ChangeType type) { return Change{type, {}, {}, {}, std::chrono::system_clock::now()}; }

  std::optional<Change> TakeListed() {
    for (; listing_.next < listing_.ids.size(); ++listing_.next) {
      const std::uint32_t id = listing_.ids[listing_.next];
      if (history_.Knows(id)) continue;
      const std::optional<Controller> now = ReadController(*component_, id);
      if (now) return history_.Listed(*now);
    }
    return std::nullopt;
  }

  // Fetches the ids for the first time, and again once the component knows that its list is complete. Returns
  // false if there is nothing to fetch yet.
  bool FetchList(std::unique_lock<std::mutex>& lock) {
    const bool first = !listing_.fetched;
    lock.unlock();
    Listing listing;
    listing.fetched = true;
    // An older component does not know. The order matters: the list must be at least as new as the answer.
    listing.complete = component_->Diagnostics() == nullptr || Sweeps(*component_) > 0;
    if (first || listing.complete) listing.ids = ListIds(*component_);
    lock.lock();
    if (!first && !listing.complete) return false;
    listing_ = std::move(listing);
    return true;
  }

  struct Listing {
    std::vector<std::uint32_t> ids;
    std::size_t next = 0;
    bool fetched = false;
    bool complete = false;  ///< `ids` has every controller that answered the first requests.
  };

  const std::shared_ptr<const Component> component_;
  const std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Change> queue_;
  ChangeHistory history_;
  Listing listing_;
  bool overflown_ = false;  ///< Changes were lost. Cleared by the reader.
  bool cancelled_ = false;
  Subscription subscription_;  // the last member: ends before what its handler uses
};

}  // namespace detail

/// The list of controllers and then its changes, as one sequence without gap or doubling; see
/// Client::changes(). It consists of
///   - Listed for every controller of the list, and Changed or Removed for what happens to these meanwhile;
///   - Synced, once the component has asked everywhere and the time for answers has passed (with a component
///     that has no IKelLanSeekDiagnostics: as soon as the list has been read);
///   - Added, Changed and Removed from then on.
/// Every Changed and Removed follows a Listed or Added of the same id, and no id is Listed or Added twice
/// before it is Removed. A controller that has gone before it could be read is not reported at all.
///
/// Changes wait in a bounded queue. If the reader lets it overflow, all that waits is dropped and the
/// sequence begins again: Resync, Listed …, Synced. The list itself needs no room in the queue.
///
/// One thread reads; cancel() may be called by any. Movable. Do not read inside a handler of a subscription:
/// events cannot arrive there.
class ChangeStream {
 public:
  explicit ChangeStream(std::unique_ptr<detail::ChangeQueue> queue) noexcept : queue_(std::move(queue)) {}

  /// Waits for the next element; nullopt if none comes in time, or after cancel(). Throws Error if the
  /// component fails; the stream stays usable and skips nothing.
  std::optional<Change> next(std::chrono::milliseconds timeout) { return queue_->Next(timeout); }

  /// Ends the wait of next(), now and for all later calls.
  void cancel() noexcept { queue_->Cancel(); }

 private:
  std::unique_ptr<detail::ChangeQueue> queue_;
};

}  // namespace kellanseek::client
