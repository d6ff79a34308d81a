#include "platform/WireTap.h"

#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <utility>

#include "platform/HostProbe.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/WirePacket.h"

namespace kellanseek::platform {
namespace {

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
    const ssize_t size = ::recvfrom(socket_.get(), buffer_.data() + kLinkHeaderBytes, kMostBytes,
                                    MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fromSize);
    if (size <= 0) return false;
    const auto read =
        ReadPacket(from, std::span(buffer_).first(kLinkHeaderBytes + static_cast<std::size_t>(size)));
    if (!read) return false;
    datagram = *read;
    datagram.time = std::chrono::system_clock::now();
    return true;
  }

  Descriptor socket_;
  std::array<char, kLinkHeaderBytes + kMostBytes> buffer_{};
};

/// Lets only UDP over IPv4 through to this program; a busy host has much else on its networks.
bool FilterUdp(int socket) {
  constexpr auto kLinkProtocol = static_cast<std::uint32_t>(SKF_AD_OFF + SKF_AD_PROTOCOL);
  constexpr std::uint32_t kProtocolOffset = 9;
  // Each jump names how many steps it skips if it holds, and if not.
  std::array<sock_filter, 6> program{{BPF_STMT(BPF_LD | BPF_H | BPF_ABS, kLinkProtocol),
                                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ETH_P_IP, 0, 3),
                                      BPF_STMT(BPF_LD | BPF_B | BPF_ABS, kProtocolOffset),
                                      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 1),
                                      BPF_STMT(BPF_RET | BPF_K, kMostBytes), BPF_STMT(BPF_RET | BPF_K, 0)}};
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
