#include "engine/RequestQueue.h"

#include <algorithm>
#include <iterator>

namespace kellanseek::engine {

void RequestQueue::AddByAddress(const CtrlInfo& record, bool isNeighbour, std::string_view datagram) {
  if (Waits(record.lanSeekID)) return;
  byAddress_.insert(
      {TurnOf(record), nextNumber_++, record.lanSeekID, isNeighbour, record.ctrlAddress, datagram});
}

RequestQueue::Turn RequestQueue::TurnOf(const CtrlInfo& record) const {
  // Ids count up, so all additions beyond the last one asked are new.
  if (record.identificationType == RemoteCtrlDefinition && record.lanSeekID > lastAdditionAsked_)
    return Turn::JustAdded;
  return record.Available() ? Turn::Available : Turn::Missing;
}

void RequestQueue::DropThoseGone(CtrlTable::Access& table) {
  for (auto request = byAddress_.begin(); request != byAddress_.end();) {
    const bool gone = !table.Find(request->lanSeekID);
    request = gone ? byAddress_.erase(request) : std::next(request);
  }
}

std::vector<std::uint32_t> RequestQueue::Send() {
  sent_ = 0;
  if (!SendBroadcasts()) return {};
  return SendByAddress();
}

bool RequestQueue::SendBroadcasts() {
  for (const BroadcastRequest& request : std::exchange(broadcasts_, {})) {
    sender_.Broadcast(request.position, request.datagram);
    if (!Breathe()) return false;
  }
  return true;
}

std::vector<std::uint32_t> RequestQueue::SendByAddress() {
  std::vector<std::uint32_t> late;
  const std::uint64_t firstNew = std::exchange(firstNew_, nextNumber_);
  for (auto request = byAddress_.begin(); request != byAddress_.end();) {
    if (request->isNeighbour && neighbourRoom_ == 0) {
      ++request;
      continue;
    }
    if (!SendOne(*request)) break;
    if (request->isNeighbour) --neighbourRoom_;
    if (request->turn == Turn::JustAdded)
      lastAdditionAsked_ = std::max(lastAdditionAsked_, request->lanSeekID);
    if (request->number < firstNew) late.push_back(request->lanSeekID);
    request = byAddress_.erase(request);
    if (!Breathe()) break;
  }
  return late;
}

bool RequestQueue::SendOne(const AddressRequest& request) {
  if (sender_.SendToAddressText(request.address, request.datagram)) return true;
  // What is on its way out gets a moment to leave; what waits for a neighbour takes longer than a tick.
  return pacer_.Pause() && sender_.SendToAddressText(request.address, request.datagram);
}

void RequestQueue::Clear() {
  broadcasts_.clear();
  byAddress_.clear();
}

}  // namespace kellanseek::engine
