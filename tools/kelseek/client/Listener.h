#pragma once

#include <kellanseek/KelLanSeek.h>

#include <functional>
#include <optional>

#include "client/Component.h"
#include "client/Controller.h"

namespace kellanseek::tools {

/// A change of one controller.
struct Event {
  std::optional<LanSeekEventReason>
      reason;             ///< None for a silent controller that was listed from the beginning.
  Controller controller;  ///< As it is now; one that is gone, as it was before.
  std::optional<Controller> before;
  FILETIME time{};  ///< Local time.
};

/// Hears the changes of all controllers from its construction to its destruction, and before those of the
/// controllers that are listed at its start. No controller is told twice as new.
class Listener {
 public:
  /// Called for one event at a time, on the constructing thread and on a thread of the component's.
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

}  // namespace kellanseek::tools
