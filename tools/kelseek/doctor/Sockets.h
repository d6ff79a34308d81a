#pragma once

#include <cstdint>
#include <memory>

#include "platform/UdpSocket.h"

namespace kellanseek::kelseek {

/// The socket library, for the doctor's own sockets: the component's use of it ends with the component.
class SocketLibrary {
 public:
  SocketLibrary() { platform::SystemUdpNetwork().Startup(); }
  ~SocketLibrary() { platform::SystemUdpNetwork().Cleanup(); }
  SocketLibrary(const SocketLibrary&) = delete;
  SocketLibrary& operator=(const SocketLibrary&) = delete;
};

/// A bound socket, as the component opens them; null if the system refuses it.
inline std::unique_ptr<platform::UdpSocket> OpenSocket(platform::Ipv4 address, platform::Ipv4 mask,
                                                       std::uint16_t port) {
  platform::SocketError error = 0;
  auto socket = platform::SystemUdpNetwork().CreateSocket(error);
  if (!socket || socket->SetReuseAddress() != 0 || socket->SetBroadcast() != 0 ||
      socket->Bind(address, mask, port) != 0)
    return nullptr;
  return socket;
}

}  // namespace kellanseek::kelseek
