#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Ipv4.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// Sends the answers of published virtual controllers.
class AnswerSender {
 public:
  virtual ~AnswerSender() = default;

  /// Broadcasts a datagram to the response port on the interface at `position`, from its request socket.
  /// Returns 0, or the socket's error with `destination` set. Does nothing and returns 0 if no interface is
  /// open at that position.
  virtual platform::SocketError Answer(std::size_t position, std::string_view datagram,
                                       platform::Ipv4& destination) = 0;
};

}  // namespace kellanseek::network
