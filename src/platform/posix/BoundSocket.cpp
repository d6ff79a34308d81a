#include "platform/posix/BoundSocket.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/posix/InterfaceOf.h"

namespace kellanseek::platform {
namespace {

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
  interfaceIndex_ = InterfaceIndexOf(address);
  // Networks of one or two hosts have no broadcast address of their own.
  const bool hasBroadcast = mask != kNoAddress && HostOrder(~mask) > 1;
  if (hasBroadcast) {
    if (const SocketError error = BindBroadcast(directed_, broadcast_, port); error != 0) return error;
  }
  return BindBroadcast(limited_, kNoAddress, port);
}

bool BoundSocket::IsBroadcast(Ipv4 destination) const {
  return interfaceIndex_ != 0 && (destination == broadcast_ || destination == kNoAddress);
}

SocketError BoundSocket::SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) {
  sockaddr_in to = SocketAddress(destination, port);
  iovec part{const_cast<char*>(bytes.data()), bytes.size()};
  msghdr message{};
  message.msg_name = &to;
  message.msg_namelen = sizeof to;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
  if (IsBroadcast(destination)) {
    // Where two interfaces share a subnet the routing table alone would choose.
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_ifindex = static_cast<int>(interfaceIndex_);
    info.ipi_spec_dst.s_addr = address_;
    std::memcpy(CMSG_DATA(header), &info, sizeof info);
  }
  const ssize_t sent = sendmsg(unicast_.get(), &message, 0);
  if (sent < 0) return errno;
  return static_cast<std::size_t>(sent) == bytes.size() ? 0 : EMSGSIZE;
}

std::vector<BoundSocket::Source> BoundSocket::Sources() const {
  std::vector<Source> sources{{unicast_.get(), 0}};
  if (directed_) sources.push_back({directed_.get(), interfaceIndex_});
  if (limited_) sources.push_back({limited_.get(), interfaceIndex_});
  return sources;
}

}  // namespace kellanseek::platform
