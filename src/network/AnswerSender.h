#pragma once

#include <string_view>

#include "controllers/InterfaceIndex.h"
#include "platform/Ipv4.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// Sends the answers of published virtual controllers.
class AnswerSender {
 public:
  virtual ~AnswerSender() = default;

  /// Broadcasts a datagram to the response port on one interface, from its request socket. Returns 0, or the
  /// socket's error with `destination` set. Does nothing and returns 0 if the interface is not open.
  virtual platform::SocketError Answer(controllers::InterfaceIndex interfaceIndex, std::string_view datagram,
                                       platform::Ipv4& destination) = 0;
};

}  // namespace kellanseek::network
