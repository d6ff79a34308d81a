#include "platform/linux/WirePacket.h"

#include <linux/if_ether.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kellanseek::platform {
namespace {

constexpr std::uint16_t kLoopbackHardware = 772;

std::optional<WireDatagram> ReadHeaders(std::string_view packet) {
  iphdr ip{};
  udphdr udp{};
  if (packet.size() < sizeof ip) return std::nullopt;
  std::memcpy(&ip, packet.data(), sizeof ip);
  const std::size_t ipBytes = std::size_t{ip.ihl} * 4;
  const std::size_t begin = ipBytes + sizeof udp;
  constexpr std::uint16_t kFragmentOffset = 0x1FFF;
  if (ip.version != 4 || ip.protocol != IPPROTO_UDP || ipBytes < sizeof ip || packet.size() < begin ||
      (ntohs(ip.frag_off) & kFragmentOffset) != 0)
    return std::nullopt;
  std::memcpy(&udp, packet.data() + ipBytes, sizeof udp);
  WireDatagram datagram;
  datagram.source = ip.saddr;
  datagram.destination = ip.daddr;
  datagram.sourcePort = ntohs(udp.source);
  datagram.destinationPort = ntohs(udp.dest);
  const std::size_t stated = std::max<std::size_t>(ntohs(udp.len), sizeof udp) - sizeof udp;
  datagram.payload = packet.substr(begin, stated);
  return datagram;
}

/// Kind of datagram, kind of hardware, length of the sender's hardware address, that address in 8 bytes, and
/// the protocol, all in network byte order.
void WriteLinkHeader(const sockaddr_ll& from, std::span<char> header) {
  constexpr std::size_t kAddressBytes = 8;
  std::fill(header.begin(), header.end(), '\0');
  const auto put = [&](std::size_t at, std::uint16_t value) {
    const std::uint16_t ordered = htons(value);
    std::memcpy(header.data() + at, &ordered, sizeof ordered);
  };
  const std::size_t length = std::min<std::size_t>(from.sll_halen, kAddressBytes);
  put(0, from.sll_pkttype);
  put(2, from.sll_hatype);
  put(4, static_cast<std::uint16_t>(length));
  std::memcpy(header.data() + 6, from.sll_addr, length);
  put(14, ETH_P_IP);
}

}  // namespace

std::optional<WireDatagram> ReadPacket(const sockaddr_ll& from, std::span<char> record) {
  // The loopback shows every datagram of this host to itself once more.
  if (from.sll_pkttype == PACKET_LOOPBACK || from.sll_hatype == kLoopbackHardware) return std::nullopt;
  const std::string_view captured(record.data(), record.size());
  auto datagram = ReadHeaders(captured.substr(kLinkHeaderBytes));
  if (!datagram) return std::nullopt;
  WriteLinkHeader(from, record.first(kLinkHeaderBytes));
  datagram->interfaceIndex = static_cast<std::uint32_t>(from.sll_ifindex);
  datagram->isOutgoing = from.sll_pkttype == PACKET_OUTGOING;
  datagram->captured = captured;
  return datagram;
}

}  // namespace kellanseek::platform
