#include "platform/linux/BoundSocket.h"

#include <linux/sock_diag.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/linux/InterfaceOf.h"

namespace kellanseek::platform {
namespace {

constexpr std::chrono::seconds kAskAgain{1};

SocketError SetOption(int descriptor, int level, int option) {
  const int on = 1;
  return setsockopt(descriptor, level, option, &on, sizeof on) == 0 ? 0 : errno;
}

sockaddr_in SocketAddress(Ipv4 address, std::uint16_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = address;
  result.sin_port = htons(port);
  return result;
}

SocketError BindTo(int descriptor, Ipv4 address, std::uint16_t port) {
  const sockaddr_in to = SocketAddress(address, port);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0 ? 0 : errno;
}

}  // namespace

SocketError BoundSocket::SetReuseAddress() {
  const SocketError error = SetOption(unicast_.get(), SOL_SOCKET, SO_REUSEADDR);
  reuse_ = error == 0;
  return error;
}

SocketError BoundSocket::SetBroadcast() { return SetOption(unicast_.get(), SOL_SOCKET, SO_BROADCAST); }

SocketError BoundSocket::BindBroadcast(Descriptor& descriptor, Ipv4 address, std::uint16_t port) const {
  Descriptor listener(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener) return errno;
  SocketError error = reuse_ ? SetOption(listener.get(), SOL_SOCKET, SO_REUSEADDR) : 0;
  if (error == 0) error = SetOption(listener.get(), IPPROTO_IP, IP_PKTINFO);
  if (error == 0) error = BindTo(listener.get(), address, port);
  if (error == 0) descriptor = std::move(listener);
  return error;
}

SocketError BoundSocket::Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) {
  if (const SocketError error = BindTo(unicast_.get(), address, port); error != 0) return error;
  if (address == 0) return 0;
  address_ = address;
  broadcast_ = address | ~mask;
  CurrentInterface();
  // Subnets of one or two addresses have no broadcast address.
  const bool hasBroadcast = HostOrder(~mask) > 1;
  if (hasBroadcast) {
    if (const SocketError error = BindBroadcast(directed_, broadcast_, port); error != 0) return error;
  }
  return BindBroadcast(limited_, kNoAddress, port);
}

bool BoundSocket::IsBroadcast(Ipv4 destination) const {
  return address_ != 0 && (destination == broadcast_ || destination == kNoAddress);
}

unsigned BoundSocket::CurrentInterface() const {
  const auto now = std::chrono::steady_clock::now();
  if (now - asked_.load(std::memory_order_relaxed) >= kAskAgain) {
    asked_.store(now, std::memory_order_relaxed);
    const unsigned found = InterfaceIndexOf(address_);
    if (found != 0) interfaceIndex_.store(found, std::memory_order_relaxed);
  }
  return interfaceIndex_.load(std::memory_order_relaxed);
}

bool BoundSocket::HearsBroadcastsOn(unsigned interfaceIndex) const {
  const unsigned own = interfaceIndex_.load(std::memory_order_relaxed);
  return own == 0 || own == interfaceIndex || CurrentInterface() == interfaceIndex;
}

SocketError BoundSocket::TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) {
  const SocketError error = Send(bytes, destination, port, MSG_DONTWAIT);
  return error == EAGAIN || error == EWOULDBLOCK ? kNoRoom : error;
}

SocketError BoundSocket::Send(std::string_view bytes, Ipv4 destination, std::uint16_t port, int flags) {
  sockaddr_in to = SocketAddress(destination, port);
  iovec part{const_cast<char*>(bytes.data()), bytes.size()};
  msghdr message{};
  message.msg_name = &to;
  message.msg_namelen = sizeof to;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
  const unsigned via = IsBroadcast(destination) ? CurrentInterface() : 0;
  if (via != 0) {
    // If two interfaces share a subnet, the routing table alone might choose the other one.
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_ifindex = static_cast<int>(via);
    info.ipi_spec_dst.s_addr = address_;
    std::memcpy(CMSG_DATA(header), &info, sizeof info);
  }
  const ssize_t sent = sendmsg(unicast_.get(), &message, flags);
  if (sent < 0) return errno;
  return static_cast<std::size_t>(sent) == bytes.size() ? 0 : EMSGSIZE;
}

std::vector<BoundSocket::Source> BoundSocket::Sources() const {
  std::vector<Source> sources{{unicast_.get(), false}};
  if (directed_) sources.push_back({directed_.get(), true});
  if (limited_) sources.push_back({limited_.get(), true});
  return sources;
}

std::uint64_t BoundSocket::DroppedBySystem() const {
  std::uint64_t drops = 0;
  for (const Source& source : Sources()) {
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof memory;
    if (getsockopt(source.descriptor, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) == 0)
      drops += memory[SK_MEMINFO_DROPS];
  }
  return drops;
}

}  // namespace kellanseek::platform
