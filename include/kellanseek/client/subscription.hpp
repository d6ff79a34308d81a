#pragma once

// Events as calls of a function, ended by a value's destruction. Part of kellanseek/client.hpp.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cwchar>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <kellanseek/client/component.hpp>

namespace kellanseek::client {

using EventHandler = std::function<void(const Event&)>;

namespace detail {

/// The way from the component's calls to a handler. Thread-safe.
///
/// While it is open, this object keeps the component alive, which keeps the sink, which keeps this object.
/// Close() lets go of component and handler, and so breaks this circle and those that the handler closes by
/// holding a client.
class Delivery {
 public:
  Delivery(std::shared_ptr<const Component> component, EventHandler handler)
      : component_(std::move(component)), handler_(std::move(handler)) {}

  /// Subscribes the sink to one controller, or to all if `id` is 0. Throws Error.
  void Open(IKelObjectEvents& sink, std::uint32_t id) {
    auto subscriptions = component_->Query<IKelLanSeekSubscribe>("IKelLanSeekSubscribe");
    KelEventParams wanted = {};
    wanted.pSink = &sink;
    wanted.subscriptionType = id;
    wanted.containData = Data;
    ULONG cookie = 0;
    component_->Check(subscriptions->Subscribe(&wanted, &cookie), "subscribing to the events");
    const std::lock_guard<std::mutex> lock(mutex_);
    subscriptions_ = std::move(subscriptions);
    cookie_ = cookie;
  }

  /// Calls the handler, unless closed. Never throws what the handler throws.
  HRESULT Deliver(const Event& event) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (closed_) return S_OK;
      running_ = std::this_thread::get_id();
    }
    HRESULT result = S_OK;
    try {
      handler_(event);
    } catch (...) {
      result = E_FAIL;
    }
    EventHandler ended;  // destroyed last, without the lock
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      running_ = {};
      if (closed_ && waiting_ == 0) ended.swap(handler_);
    }
    idle_.notify_all();
    return result;
  }

  /// Ends the subscription. Afterwards no call runs, but that of the calling thread, and none begins; the
  /// handler is destroyed, at the latest when that call returns.
  void Close() noexcept {
    std::shared_ptr<const Component> component;
    KelComPtr<IKelLanSeekSubscribe> subscriptions;
    EventHandler ended;  // destroyed before the component is released
    std::unique_lock<std::mutex> lock(mutex_);
    closed_ = true;
    component.swap(component_);
    std::swap(subscriptions, subscriptions_);
    const ULONG cookie = cookie_;
    if (subscriptions) {
      lock.unlock();
      subscriptions->Unsubscribe(cookie);
      lock.lock();
    }
    const std::thread::id none;
    if (running_ != std::this_thread::get_id()) {
      ++waiting_;
      idle_.wait(lock, [&] { return running_ == none; });
      --waiting_;
      ended.swap(handler_);
    }
    lock.unlock();
  }

  bool Closed() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable idle_;
  std::shared_ptr<const Component> component_;
  KelComPtr<IKelLanSeekSubscribe> subscriptions_;
  ULONG cookie_ = 0;
  EventHandler handler_;  // called without the lock, and changed only while no call runs
  std::thread::id running_;
  int waiting_ = 0;  // threads in Close() that wait for the running call
  bool closed_ = false;
};

/// The numbers of an event's text; nullopt if they are not there.
inline std::optional<Event> ParseEvent(const KelObjectEvent& record) {
  if (record.data.vt != VT_BSTR || record.data.bstrVal == nullptr) return std::nullopt;
  const wchar_t* text = record.data.bstrVal;
  long long numbers[3] = {};
  for (long long& number : numbers) {
    wchar_t* end = nullptr;
    number = std::wcstoll(text, &end, 10);
    if (end == text || *end != L';') return std::nullopt;
    text = end + 1;
  }
  Event event;
  event.id = static_cast<std::uint32_t>(numbers[0]);
  event.availability = static_cast<Availability>(numbers[1]);
  event.reason = static_cast<Reason>(numbers[2]);
  event.time = std::chrono::system_clock::now();
  return event;
}

/// The object that the component calls.
class Sink final : public Counted<IKelObjectEvents> {
 public:
  explicit Sink(std::shared_ptr<Delivery> delivery)
      : Counted(IID_IKelObjectEvents), delivery_(std::move(delivery)) {}

  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* record) override {
    // The handler may end the subscription and the component; the caller's reference keeps this object.
    try {
      const std::optional<Event> event = record == nullptr ? std::nullopt : ParseEvent(*record);
      return event ? delivery_->Deliver(*event) : E_FAIL;
    } catch (...) {
      return E_FAIL;
    }
  }

 private:
  const std::shared_ptr<Delivery> delivery_;
};

}  // namespace detail

/// A running subscription; see Client::subscribe(). Ends with its destruction. Movable. As with any value,
/// only reset() may be called by several threads at a time.
class Subscription {
 public:
  /// No subscription.
  Subscription() noexcept = default;
  explicit Subscription(std::shared_ptr<detail::Delivery> delivery) noexcept
      : delivery_(std::move(delivery)) {}
  Subscription(Subscription&&) noexcept = default;
  /// Ends the present subscription first.
  Subscription& operator=(Subscription&& other) noexcept {
    if (this == &other) return *this;
    reset();
    delivery_ = std::move(other.delivery_);
    return *this;
  }
  ~Subscription() { reset(); }

  /// Ends the subscription. Waits for a call of the handler that runs on another thread, so that afterwards
  /// none runs and none begins. Inside the handler it does not wait: that call is the last. Hold no lock that
  /// the handler takes. A second call only waits likewise.
  void reset() noexcept {
    if (delivery_ != nullptr) delivery_->Close();
  }
  /// Whether calls may still come.
  bool active() const { return delivery_ != nullptr && !delivery_->Closed(); }

 private:
  std::shared_ptr<detail::Delivery> delivery_;
};

namespace detail {

inline Subscription Subscribe(std::shared_ptr<const Component> component, EventHandler handler,
                              std::uint32_t id) {
  const auto delivery = std::make_shared<Delivery>(std::move(component), std::move(handler));
  delivery->Open(*KelComPtr<Sink>::Attach(new Sink(delivery)), id);
  return Subscription(delivery);
}

}  // namespace detail
}  // namespace kellanseek::client
