#pragma once

#include <cstdint>
#include <memory>

#include "client/SocketLibrary.h"
#include "platform/UdpSocket.h"

namespace kellanseek::kelseek {

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
