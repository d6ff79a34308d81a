#include "platform/PendingDatagrams.h"

namespace kellanseek::platform {
namespace {

constexpr std::size_t kMostPending = 8192;
constexpr std::size_t kHandedBetweenReads = 32;

}  // namespace

bool PendingDatagrams::Full() const { return pending_.size() - next_ >= kMostPending; }

bool PendingDatagrams::ReadIsDue() const { return Empty() || sinceLastRead_ >= kHandedBetweenReads; }

void PendingDatagrams::BeginRead() {
  sinceLastRead_ = 0;
  // Moving what is left costs time, so a backlog is moved only once in a while.
  if (!Empty() && next_ < kMostPending) return;
  const std::size_t keptFrom = Empty() ? bytes_.size() : pending_[next_].offset;
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(keptFrom));
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(next_));
  for (Pending& pending : pending_) pending.offset -= keptFrom;
  next_ = 0;
}

void PendingDatagrams::Keep(const Origin& origin, std::string_view text) {
  const std::size_t offset = bytes_.size();
  bytes_.insert(bytes_.end(), text.begin(), text.end());
  bytes_.push_back('\0');
  pending_.push_back({origin, offset, text.size(), 0});
}

void PendingDatagrams::KeepError(std::size_t socket, SocketError error) {
  pending_.push_back({{.socket = socket}, bytes_.size(), 0, error});
}

Received PendingDatagrams::HandOn() {
  Received received;
  if (Empty()) return received;
  const Pending& pending = pending_[next_++];
  ++sinceLastRead_;
  received.socket = pending.origin.socket;
  if (pending.error != 0) {
    received.outcome = Received::Outcome::ReadError;
    received.error = pending.error;
    return received;
  }
  received.outcome = Received::Outcome::Datagram;
  received.text = {bytes_.data() + pending.offset, pending.length};
  received.source = pending.origin.source;
  received.sourcePort = pending.origin.sourcePort;
  received.sourceIsIpv4 = pending.origin.sourceIsIpv4;
  return received;
}

}  // namespace kellanseek::platform
