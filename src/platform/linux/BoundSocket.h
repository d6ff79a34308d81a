#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/UdpSocket.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {

/// UdpSocket for Linux. A descriptor bound to a unicast address receives no broadcast, so two more
/// descriptors receive the subnet's directed broadcasts and the limited broadcasts. Broadcasts that arrive on
/// other interfaces are dropped.
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

  std::uint64_t DroppedBySystem() const override;

  /// A descriptor to read. Broadcasts count only if they arrive on the address's own interface.
  struct Source {
    int descriptor = -1;
    bool isBroadcast = false;
  };
  std::vector<Source> Sources() const;

  /// Whether this socket receives the broadcasts that arrive on that interface.
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
  /// The interface that holds the address, 0 if none. Refreshed from time to time, because the address may
  /// move to another interface (a bridge, for instance) without any change that would make the engine bind it
  /// anew.
  mutable std::atomic<unsigned> interfaceIndex_{0};
  mutable std::atomic<std::chrono::steady_clock::time_point> asked_{};
};

}  // namespace kellanseek::platform
