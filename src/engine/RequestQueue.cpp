#include "engine/RequestQueue.h"

#include <utility>

namespace kellanseek::engine {

void RequestQueue::AddByAddress(const CtrlInfo& record, std::string_view datagram) {
  auto& byId = byAddress_.get<ById>();
  const auto waiting = byId.find(record.lanSeekID);
  if (waiting == byId.end()) {
    byAddress_.insert({!record.Available(), nextNumber_++, record.lanSeekID, record.ctrlAddress, datagram});
    return;
  }
  byId.modify(waiting, [&](AddressRequest& request) {
    request.missing = !record.Available();
    request.datagram = datagram;
  });
}

void RequestQueue::Send() {
  sent_ = 0;
  for (const BroadcastRequest& request : std::exchange(broadcasts_, {})) {
    sender_.Broadcast(request.position, request.datagram);
    if (!Breathe()) return;
  }
  bool waited = false;
  while (!byAddress_.empty()) {
    const auto first = byAddress_.begin();
    if (!sender_.SendToAddressText(first->address, first->datagram)) {
      // What is on its way out gets a moment to leave; what waits for a neighbour takes longer than a tick.
      if (std::exchange(waited, true) || !pacer_.Pause()) return;
      continue;
    }
    waited = false;
    byAddress_.erase(first);
    if (!Breathe()) return;
  }
}

bool RequestQueue::Breathe() { return ++sent_ % kSendBurst != 0 || pacer_.Pause(); }

void RequestQueue::Clear() {
  broadcasts_.clear();
  byAddress_.clear();
}

}  // namespace kellanseek::engine
