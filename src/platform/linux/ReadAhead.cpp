#include "platform/linux/ReadAhead.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/linux/EventNative.h"
#include "platform/linux/PollTimeout.h"

namespace kellanseek::platform {
namespace {

constexpr unsigned kBatch = 64;             ///< Datagrams read by one call.
constexpr std::size_t kMostPending = 8192;  ///< Datagrams read ahead. Further ones stay in the kernel.
constexpr std::size_t kHandedBetweenReads = 32;

/// The interface on which a datagram arrived; 0 if the kernel did not report it.
unsigned ArrivalInterface(msghdr& header) {
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level != IPPROTO_IP || part->cmsg_type != IP_PKTINFO) continue;
    in_pktinfo info{};
    std::memcpy(&info, CMSG_DATA(part), sizeof info);
    return static_cast<unsigned>(info.ipi_ifindex);
  }
  return 0;
}

}  // namespace

/// The buffers of one recvmmsg call.
struct ReadAheadReceiver::Batch {
  explicit Batch(std::size_t capacity) : buffers(kBatch * capacity) {
    for (unsigned i = 0; i < kBatch; ++i) {
      parts[i] = {buffers.data() + i * capacity, capacity};
      headers[i].msg_hdr.msg_name = &sources[i];
      headers[i].msg_hdr.msg_iov = &parts[i];
      headers[i].msg_hdr.msg_iovlen = 1;
    }
  }
  void Prepare() {
    for (unsigned i = 0; i < kBatch; ++i) {
      headers[i].msg_hdr.msg_namelen = sizeof(sockaddr_storage);
      headers[i].msg_hdr.msg_control = controls[i].data();
      headers[i].msg_hdr.msg_controllen = controls[i].size();
    }
  }

  std::vector<pollfd> descriptors;
  std::vector<char> buffers;
  std::array<mmsghdr, kBatch> headers{};
  std::array<iovec, kBatch> parts{};
  std::array<sockaddr_storage, kBatch> sources{};
  struct alignas(cmsghdr) Control : std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> {};
  std::array<Control, kBatch> controls{};
};

ReadAheadReceiver::ReadAheadReceiver(const std::vector<UdpSocket*>& sockets, std::size_t capacity)
    : capacity_(capacity), batch_(std::make_unique<Batch>(capacity)) {
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    const auto* bound = static_cast<const BoundSocket*>(sockets[i]);
    for (const BoundSocket::Source& from : bound->Sources()) sources_.push_back({i, bound, from});
  }
}

ReadAheadReceiver::~ReadAheadReceiver() = default;

Received ReadAheadReceiver::ReceiveOne(Event& stop, std::chrono::milliseconds timeout) {
  if (stop.TryWait()) return {};
  if (next_ == pending_.size()) {
    DropHandedOn();
    const Received waited = WaitUntilReadable(stop, timeout);
    if (waited.outcome != Received::Outcome::Datagram) return waited;
    ReadReady();
  } else if (sinceLastRead_ >= kHandedBetweenReads) {
    if (next_ >= kMostPending) DropHandedOn();
    ReadReady();
  }
  return HandOn();
}

void ReadAheadReceiver::DropHandedOn() {
  const std::size_t keptFrom = next_ < pending_.size() ? pending_[next_].offset : bytes_.size();
  bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(keptFrom));
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(next_));
  for (Pending& pending : pending_) pending.offset -= keptFrom;
  next_ = 0;
}

Received ReadAheadReceiver::WaitUntilReadable(Event& stop, std::chrono::milliseconds timeout) {
  std::vector<pollfd>& descriptors = batch_->descriptors;
  descriptors.assign(1, {stop.native().descriptor.get(), POLLIN, 0});
  for (const Source& source : sources_) descriptors.push_back({source.from.descriptor, POLLIN, 0});
  const Deadline deadline(timeout);
  const timespec left = deadline.Left();
  const int ready = ppoll(descriptors.data(), descriptors.size(), &left, nullptr);
  Received waited;
  if (ready < 0) {
    if (errno == EINTR) return waited;
    waited.outcome = Received::Outcome::WaitFailed;
    waited.error = errno;
  } else if (ready > 0 && descriptors.front().revents == 0) {
    // A descriptor that the program has closed under us ends every wait but delivers no datagram.
    const auto lost = std::count_if(descriptors.begin(), descriptors.end(),
                                    [](const pollfd& each) { return (each.revents & POLLNVAL) != 0; });
    waited.outcome = ready > lost ? Received::Outcome::Datagram : Received::Outcome::WaitFailed;
    waited.error = EBADF;
  }
  return waited;
}

void ReadAheadReceiver::ReadReady() {
  sinceLastRead_ = 0;
  for (const Source& source : sources_) ReadFrom(source);
}

void ReadAheadReceiver::ReadFrom(const Source& source) {
  while (pending_.size() - next_ < kMostPending) {
    batch_->Prepare();
    const int read = recvmmsg(source.from.descriptor, batch_->headers.data(), kBatch, MSG_DONTWAIT, nullptr);
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) {
      if (errno != EAGAIN && errno != EWOULDBLOCK) {
        pending_.push_back({.socket = source.socket, .offset = bytes_.size(), .error = errno});
      }
      return;
    }
    for (unsigned i = 0; i < static_cast<unsigned>(read); ++i) Keep(source, i);
    if (static_cast<unsigned>(read) < kBatch) return;
  }
}

void ReadAheadReceiver::Keep(const Source& source, unsigned index) {
  mmsghdr& received = batch_->headers[index];
  if (source.from.isBroadcast && !source.bound->HearsBroadcastsOn(ArrivalInterface(received.msg_hdr))) return;
  Pending kept{.socket = source.socket, .offset = bytes_.size(), .length = received.msg_len};
  if ((received.msg_hdr.msg_flags & MSG_TRUNC) != 0) {
    kept.error = EMSGSIZE;
    kept.length = 0;
  }
  const sockaddr_storage& from = batch_->sources[index];
  if (received.msg_hdr.msg_namelen == sizeof(sockaddr_in) && from.ss_family == AF_INET) {
    sockaddr_in inet{};
    std::memcpy(&inet, &from, sizeof inet);
    kept.source = inet.sin_addr.s_addr;
    kept.sourcePort = ntohs(inet.sin_port);
    kept.sourceIsIpv4 = true;
  }
  const char* text = batch_->buffers.data() + index * capacity_;
  bytes_.insert(bytes_.end(), text, text + kept.length);
  bytes_.push_back('\0');
  pending_.push_back(kept);
}

Received ReadAheadReceiver::HandOn() {
  if (next_ == pending_.size()) return {};
  const Pending& pending = pending_[next_++];
  ++sinceLastRead_;
  Received received;
  received.socket = pending.socket;
  if (pending.error != 0) {
    received.outcome = Received::Outcome::ReadError;
    received.error = pending.error;
    return received;
  }
  received.outcome = Received::Outcome::Datagram;
  received.text = {bytes_.data() + pending.offset, pending.length};
  received.source = pending.source;
  received.sourcePort = pending.sourcePort;
  received.sourceIsIpv4 = pending.sourceIsIpv4;
  return received;
}

}  // namespace kellanseek::platform
