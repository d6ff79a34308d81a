#include "engine/RequestQueue.h"

#include <algorithm>

namespace kellanseek::engine {

void RequestQueue::AddByAddress(const controllers::CtrlInfo& record, bool isNeighbour,
                                std::string_view datagram) {
  if (Waits(record.lanSeekID)) return;
  AddressRequests one{{nextNumber_++, record.lanSeekID, isNeighbour, record.Address(), datagram}};
  waiting_.insert(record.lanSeekID);
  AddressRequests& queue = byAddress_.at(static_cast<std::size_t>(TurnOf(record)));
  queue.splice(queue.end(), one);
}

RequestQueue::Turn RequestQueue::TurnOf(const controllers::CtrlInfo& record) const {
  // Ids increase, so every added controller beyond the last one asked is new.
  if (record.identificationType == RemoteCtrlDefinition && record.lanSeekID > lastAdditionAsked_)
    return Turn::JustAdded;
  return record.Available() ? Turn::Available : Turn::Missing;
}

void RequestQueue::DropThoseGone(controllers::CtrlTable::Access& table) {
  for (AddressRequests& queue : byAddress_)
    queue.remove_if([&](const AddressRequest& request) {
      return !table.Find(request.lanSeekID) && waiting_.erase(request.lanSeekID) > 0;
    });
}

RequestQueue::Sent RequestQueue::Send(const RequestOutlet& outlet) {
  sent_ = 0;
  Sent sent;
  if (!SendBroadcasts(outlet)) return sent;
  const std::uint64_t firstNew = std::exchange(firstNew_, nextNumber_);
  for (const Turn turn : {Turn::JustAdded, Turn::Available, Turn::Missing})
    if (!SendQueue(turn, firstNew, sent, outlet)) break;
  return sent;
}

bool RequestQueue::SendBroadcasts(const RequestOutlet& outlet) {
  for (const BroadcastRequest& request : std::exchange(broadcasts_, {})) {
    outlet.sender.Broadcast(request.interfaceIndex, request.datagram);
    if (!PauseAfterBurst(outlet.pacer)) return false;
  }
  return true;
}

bool RequestQueue::SendQueue(Turn turn, std::uint64_t firstNew, Sent& sent, const RequestOutlet& outlet) {
  AddressRequests& queue = byAddress_.at(static_cast<std::size_t>(turn));
  for (auto request = queue.begin(); request != queue.end();) {
    if (request->isNeighbour && neighbourRoom_ == 0) {
      ++request;
      continue;
    }
    if (!SendOne(*request, outlet)) return false;
    if (request->isNeighbour) --neighbourRoom_;
    if (turn == Turn::JustAdded) lastAdditionAsked_ = std::max(lastAdditionAsked_, request->lanSeekID);
    sent.all.push_back(request->lanSeekID);
    if (request->number < firstNew) sent.late.push_back(request->lanSeekID);
    waiting_.erase(request->lanSeekID);
    request = queue.erase(request);
    if (!PauseAfterBurst(outlet.pacer)) return false;
  }
  return true;
}

bool RequestQueue::SendOne(const AddressRequest& request, const RequestOutlet& outlet) {
  if (outlet.sender.SendToAddress(request.address, request.datagram)) return true;
  // A full send buffer empties within a pause, unless it holds datagrams for neighbours that do not answer:
  // those take longer than a tick to expire, and the next tick tries again.
  return outlet.pacer.Pause() && outlet.sender.SendToAddress(request.address, request.datagram);
}

void RequestQueue::Clear() {
  broadcasts_.clear();
  for (AddressRequests& queue : byAddress_) queue.clear();
  waiting_.clear();
}

}  // namespace kellanseek::engine
