#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kellanseek::bench {

/// Sockets of the other host, created in the network namespace of a descriptor and used from here.
class PlantSocket {
 public:
  /// Sends to the broadcast address of the network between the two hosts.
  PlantSocket(const std::string& namespacePath, const std::string& broadcast, std::uint16_t port);
  ~PlantSocket();
  PlantSocket(const PlantSocket&) = delete;
  PlantSocket& operator=(const PlantSocket&) = delete;

  bool Send(const std::string& datagram) const;
  /// Sends datagrams of one size with a single call, which costs the sender much less than the receiver.
  bool SendEqual(std::string_view datagrams, std::size_t size) const;

 private:
  int descriptor_ = -1;
  std::uint32_t address_ = 0;
  std::uint16_t port_ = 0;
};

/// The identity datagram of controller `i` (up to 23,000) of the plant; `revision` changes its name. Tag e
/// gives each controller its own address, so that one host can send for all. All have one size.
std::string IdentityDatagram(std::uint32_t i, std::uint32_t revision = 0);

/// Datagrams that the kernel dropped at this process's sockets on a port, from /proc/net/udp.
std::uint64_t DroppedAt(std::uint16_t port);

}  // namespace kellanseek::bench
