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

constexpr unsigned kBatch = 64;  ///< Datagrams read by one call.

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

  std::vector<pollfd> descriptors;  ///< The stop event, then the sources, with the result of the last wait.
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
  if (pending_.Empty()) {
    const Received waited = WaitUntilReadable(stop, timeout);
    if (waited.outcome != Received::Outcome::Datagram) return waited;
    ReadReady();
  } else if (pending_.ReadIsDue()) {
    ReadAll();
  }
  return pending_.HandOn();
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
  } else if (ready > 0 && (descriptors.front().revents & POLLIN) == 0) {
    // A descriptor that the program has closed under us ends every wait but delivers no datagram.
    const auto lost = std::count_if(descriptors.begin(), descriptors.end(),
                                    [](const pollfd& each) { return (each.revents & POLLNVAL) != 0; });
    waited.outcome = ready > lost ? Received::Outcome::Datagram : Received::Outcome::WaitFailed;
    waited.error = EBADF;
  }
  return waited;
}

/// Asks only the sockets that ended the wait, so that a datagram that comes alone costs two system calls
/// however many sockets there are.
void ReadAheadReceiver::ReadReady() {
  pending_.BeginRead();
  auto descriptor = batch_->descriptors.cbegin();
  for (const Source& source : sources_) {
    if ((++descriptor)->revents != 0) ReadFrom(source);
  }
}

void ReadAheadReceiver::ReadAll() {
  pending_.BeginRead();
  for (const Source& source : sources_) ReadFrom(source);
}

void ReadAheadReceiver::ReadFrom(const Source& source) {
  while (!pending_.Full()) {
    batch_->Prepare();
    const int read = recvmmsg(source.from.descriptor, batch_->headers.data(), kBatch, MSG_DONTWAIT, nullptr);
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) {
      if (errno != EAGAIN && errno != EWOULDBLOCK) pending_.KeepError(source.socket, errno);
      return;
    }
    for (unsigned i = 0; i < static_cast<unsigned>(read); ++i) Keep(source, i);
    if (static_cast<unsigned>(read) < kBatch) return;
  }
}

void ReadAheadReceiver::Keep(const Source& source, unsigned index) {
  mmsghdr& received = batch_->headers[index];
  if (source.from.isBroadcast && !source.bound->HearsBroadcastsOn(ArrivalInterface(received.msg_hdr))) return;
  if ((received.msg_hdr.msg_flags & MSG_TRUNC) != 0) return pending_.KeepError(source.socket, EMSGSIZE);
  PendingDatagrams::Origin origin{.socket = source.socket};
  const sockaddr_storage& from = batch_->sources[index];
  if (received.msg_hdr.msg_namelen == sizeof(sockaddr_in) && from.ss_family == AF_INET) {
    sockaddr_in inet{};
    std::memcpy(&inet, &from, sizeof inet);
    origin.source = inet.sin_addr.s_addr;
    origin.sourcePort = ntohs(inet.sin_port);
    origin.sourceIsIpv4 = true;
  }
  pending_.Keep(origin, {batch_->buffers.data() + index * capacity_, received.msg_len});
}

}  // namespace kellanseek::platform
