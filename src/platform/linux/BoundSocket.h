#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/UdpSocket.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {

/// A UdpSocket as Linux needs it. A descriptor bound to a unicast address hears no broadcast, so beside the
/// one that sends and takes unicasts there is one for the subnet's directed broadcasts and one for limited
/// broadcasts; what they hear on another interface is dropped.
class BoundSocket : public UdpSocket {
 public:
  explicit BoundSocket(Descriptor descriptor) : unicast_(std::move(descriptor)) {}

  SocketError SetReuseAddress() override;
  SocketError SetBroadcast() override;
  SocketError Bind(Ipv4 address, Ipv4 mask, std::uint16_t port) override;
  SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
    return Send(bytes, destination, port, 0);
  }
  SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override;

  /// A descriptor to read, and whether only what arrives on the address's own interface counts.
  struct Source {
    int descriptor = -1;
    bool isBroadcast = false;
  };
  std::vector<Source> Sources() const;

  /// Whether broadcasts that arrive on that interface are for this socket.
  bool HearsBroadcastsOn(unsigned interfaceIndex) const;

 private:
  SocketError Send(std::string_view bytes, Ipv4 destination, std::uint16_t port, int flags);
  SocketError BindBroadcast(Descriptor& descriptor, Ipv4 address, std::uint16_t port) const;
  bool IsBroadcast(Ipv4 destination) const;
  unsigned CurrentInterface() const;

  Descriptor unicast_;
  Descriptor directed_;
  Descriptor limited_;
  bool reuse_ = false;
  Ipv4 address_ = 0;
  Ipv4 broadcast_ = 0;
  /// The interface that had the address when last asked, which is done now and then: an address that moves at
  /// once to another interface is the same address to everybody else, and nobody binds it anew. 0 for none.
  mutable std::atomic<unsigned> interfaceIndex_{0};
  mutable std::atomic<std::chrono::steady_clock::time_point> asked_{};
};

}  // namespace kellanseek::platform
