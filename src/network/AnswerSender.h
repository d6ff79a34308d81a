#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Ipv4.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// Sends answers for the virtual controllers that are published.
class AnswerSender {
 public:
  virtual ~AnswerSender() = default;

  /// Broadcasts a datagram to the response port on the interface at that position, from its request socket.
  /// 0, or the socket's error with `destination` filled in. Does nothing, successfully, when no interface is
  /// open there.
  virtual platform::SocketError Answer(std::size_t position, std::string_view datagram,
                                       platform::Ipv4& destination) = 0;
};

}  // namespace kellanseek::network
