#include "client/Listener.h"

#include <exception>
#include <utility>

#include "client/CountedObject.h"
#include "client/EventHistory.h"
#include "platform/Clock.h"
#include "platform/Mutex.h"

namespace kellanseek::kelseek {

/// A reference-counted object of its own, because the component may call it briefly after Unsubscribe.
class Listener::Sink final : public CountedObject<IKelObjectEvents> {
 public:
  Sink(const Component& component, Handler handler)
      : CountedObject(IID_IKelObjectEvents),
        seek_(&component.Seek()),
        identity_(&component.Identity()),
        handler_(std::move(handler)) {}

  void ReportListed(const Component& component) EXCLUDES(mutex_) {
    const platform::MutexLock lock(mutex_);
    for (const Controller& controller : ListedControllers(component)) {
      Report(history_.Listed(controller), platform::LocalFileTime());
    }
  }

  /// Waits for a running call. Later calls do nothing.
  void Close() EXCLUDES(mutex_) {
    const platform::MutexLock lock(mutex_);
    handler_ = nullptr;
  }

  HRESULT STDMETHODCALLTYPE Notify(KelObjectEvent* event) override EXCLUDES(mutex_) {
    const platform::MutexLock lock(mutex_);
    try {
      return handler_ ? Handle(*event) : S_OK;
    } catch (const std::exception&) {
      return E_FAIL;
    }
  }

 private:
  HRESULT Handle(KelObjectEvent& event) REQUIRES(mutex_) {
    ULONG id = 0;
    KelCtrlAvailability availability = CtrlRemoved;
    LanSeekEventReason reason = CtrlNew;
    const HRESULT result = seek_->UnpackSubscriptionData(&event.data, &id, &availability, &reason);
    if (FAILED(result)) return result;
    Report(history_.Changed(id, availability, reason, ReadController(*identity_, id)), event.time);
    return S_OK;
  }

  void Report(std::optional<Event> event, const FILETIME& time) REQUIRES(mutex_) {
    if (!event) return;
    event->time = time;
    handler_(*event);
  }

  // Not owning: the component holds a reference to this sink. Used only while there is a handler, and during
  // that time the listener keeps the component alive.
  IKelLanSeek* seek_;
  IKelCtrlIdentity3* identity_;
  platform::Mutex mutex_;
  Handler handler_ GUARDED_BY(mutex_);
  EventHistory history_ GUARDED_BY(mutex_);
};

Listener::Listener(const Component& component, KelComPtr<Sink> sink)
    : subscriptions_(component.Get<IKelLanSeekSubscribe>()), sink_(std::move(sink)) {
  KelEventParams wanted{};
  wanted.pSink = sink_.Get();
  wanted.containData = Data;
  component.Check(subscriptions_->Subscribe(&wanted, &cookie_), "subscribing to the events");
}

Listener::Listener(const Component& component, Handler handler)
    : Listener(component, KelComPtr<Sink>::Attach(new Sink(component, std::move(handler)))) {
  sink_->ReportListed(component);
}

Listener::~Listener() {
  subscriptions_->Unsubscribe(cookie_);
  sink_->Close();
}

}  // namespace kellanseek::kelseek
