#include "client/EventHistory.h"

#include <utility>

namespace kellanseek::kelseek {

std::optional<Event> EventHistory::Listed(const Controller& controller) {
  if (!known_.emplace(controller.id, controller).second) return std::nullopt;
  Event event;
  event.controller = controller;
  if (controller.availability == CtrlAvailable) {
    event.reason = CtrlNew;
    announced_.insert(controller.id);
  }
  return event;
}

std::optional<Event> EventHistory::Changed(ULONG id, KelCtrlAvailability availability,
                                           LanSeekEventReason reason, std::optional<Controller> now) {
  Event event;
  event.reason = reason;
  if (const auto known = known_.find(id); known != known_.end()) event.before = known->second;
  event.controller = now ? *std::move(now) : event.before.value_or(Controller{});
  event.controller.id = id;
  event.controller.availability = availability;
  if (announced_.erase(id) > 0 && reason == CtrlNew) {
    if (event.before == event.controller) return std::nullopt;
    event.reason = CtrlUpdated;
  }
  if (availability == CtrlRemoved) {
    known_.erase(id);
  } else {
    known_.insert_or_assign(id, event.controller);
  }
  return event;
}

}  // namespace kellanseek::kelseek
