#include "platform/WireTap.h"

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "platform/HostProbe.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::platform {
namespace {

/// The header of a record of kCaptureLinkType: kind of datagram, kind of hardware, the sender's hardware
/// address with its length, and the protocol, all in network byte order.
constexpr std::size_t kHeaderBytes = 16;
constexpr std::size_t kAddressBytes = 8;
/// Longer than any discovery message.
constexpr std::size_t kMostBytes = 2048;

class PacketSocket final : public WireTap {
 public:
  explicit PacketSocket(Descriptor socket) : socket_(std::move(socket)) {}

  bool Next(std::chrono::milliseconds timeout, WireDatagram& datagram) override {
    const auto end = std::chrono::steady_clock::now() + timeout;
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
      pollfd ready{socket_.get(), POLLIN, 0};
      if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0) return false;
      if (Receive(datagram)) return true;
    }
  }

 private:
  /// Returns false for a packet that is of no interest.
  bool Receive(WireDatagram& datagram) {
    sockaddr_ll from{};
    socklen_t fromSize = sizeof from;
    const ssize_t size = ::recvfrom(socket_.get(), buffer_.data() + kHeaderBytes, kMostBytes, MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr*>(&from), &fromSize);
    // The loopback shows every datagram of this host to itself once more.
    if (size <= 0 || from.sll_pkttype == PACKET_LOOPBACK || from.sll_hatype == kLoopbackHardware)
      return false;
    if (!ReadHeaders(static_cast<std::size_t>(size), datagram)) return false;
    datagram.time = std::chrono::system_clock::now();
    datagram.interfaceIndex = static_cast<std::uint32_t>(from.sll_ifindex);
    datagram.isOutgoing = from.sll_pkttype == PACKET_OUTGOING;
    WriteLinkHeader(from);
    datagram.captured = {buffer_.data(), kHeaderBytes + static_cast<std::size_t>(size)};
    return true;
  }

  bool ReadHeaders(std::size_t size, WireDatagram& datagram) const {
    const char* const packet = buffer_.data() + kHeaderBytes;
    iphdr ip{};
    udphdr udp{};
    if (size < sizeof ip) return false;
    std::memcpy(&ip, packet, sizeof ip);
    const std::size_t ipBytes = std::size_t{ip.ihl} * 4;
    constexpr std::uint16_t kFragmentOffset = 0x1FFF;
    if (ip.version != 4 || ip.protocol != IPPROTO_UDP || ipBytes < sizeof ip || size < ipBytes + sizeof udp ||
        (ntohs(ip.frag_off) & kFragmentOffset) != 0)
      return false;
    std::memcpy(&udp, packet + ipBytes, sizeof udp);
    datagram.source = ip.saddr;
    datagram.destination = ip.daddr;
    datagram.sourcePort = ntohs(udp.source);
    datagram.destinationPort = ntohs(udp.dest);
    const std::size_t stated = std::max<std::size_t>(ntohs(udp.len), sizeof udp) - sizeof udp;
    const std::size_t begin = ipBytes + sizeof udp;
    datagram.payload = {packet + begin, std::min(stated, size - begin)};
    return true;
  }

  void WriteLinkHeader(const sockaddr_ll& from) {
    std::fill_n(buffer_.begin(), kHeaderBytes, '\0');
    const auto put = [&](std::size_t at, std::uint16_t value) {
      const std::uint16_t ordered = htons(value);
      std::memcpy(buffer_.data() + at, &ordered, sizeof ordered);
    };
    const std::size_t length = std::min<std::size_t>(from.sll_halen, kAddressBytes);
    put(0, from.sll_pkttype);
    put(2, from.sll_hatype);
    put(4, static_cast<std::uint16_t>(length));
    std::memcpy(buffer_.data() + 6, from.sll_addr, length);
    put(14, ETH_P_IP);
  }

  static constexpr std::uint16_t kLoopbackHardware = 772;

  Descriptor socket_;
  std::array<char, kHeaderBytes + kMostBytes> buffer_{};
};

/// Lets only UDP over IPv4 through to this program; a busy host has much else on its networks.
bool FilterUdp(int socket) {
  constexpr auto kLinkProtocol = static_cast<std::uint32_t>(SKF_AD_OFF + SKF_AD_PROTOCOL);
  constexpr std::uint32_t kProtocolOffset = 9;
  std::array<sock_filter, 6> program{{{BPF_LD | BPF_H | BPF_ABS, 0, 0, kLinkProtocol},
                                      {BPF_JMP | BPF_JEQ | BPF_K, 0, 3, ETH_P_IP},
                                      {BPF_LD | BPF_B | BPF_ABS, 0, 0, kProtocolOffset},
                                      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, IPPROTO_UDP},
                                      {BPF_RET | BPF_K, 0, 0, kMostBytes},
                                      {BPF_RET | BPF_K, 0, 0, 0}}};
  const sock_fprog filter{program.size(), program.data()};
  return ::setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0;
}

}  // namespace

std::unique_ptr<WireTap> OpenWireTap(std::string& why) {
  // Only a socket for all protocols sees what leaves.
  Descriptor socket(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETH_P_ALL)));
  if (!socket || !FilterUdp(socket.get())) {
    why = TextOfError(errno);
    return nullptr;
  }
  return std::make_unique<PacketSocket>(std::move(socket));
}

}  // namespace kellanseek::platform
