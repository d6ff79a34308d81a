#pragma once

#include <kellanseek/KelLanSeek.h>

#include <functional>
#include <optional>

#include "client/Component.h"
#include "client/Controller.h"

namespace kellanseek::kelseek {

/// A change of a controller.
struct Event {
  std::optional<LanSeekEventReason>
      reason;             ///< None for a silent controller that was listed from the beginning.
  Controller controller;  ///< The current state; if it is gone, the last known one.
  std::optional<Controller> before;
  FILETIME time{};  ///< Local time.
};

/// Reports the controllers already listed at construction, then every change until destruction. Reports no
/// controller as new twice.
class Listener {
 public:
  /// Called for one event at a time, on the constructing thread and on a thread of the component.
  using Handler = std::function<void(const Event&)>;

  Listener(const Component& component, Handler handler);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

 private:
  class Sink;
  Listener(const Component& component, KelComPtr<Sink> sink);

  KelComPtr<IKelLanSeekSubscribe> subscriptions_;
  KelComPtr<Sink> sink_;
  ULONG cookie_ = 0;
};

}  // namespace kellanseek::kelseek
