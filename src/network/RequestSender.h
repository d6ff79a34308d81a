#pragma once

#include <string_view>

#include "controllers/InterfaceIndex.h"
#include "platform/Ipv4.h"

namespace kellanseek::network {

/// Sends the requests of the refresh cycle. Reports no errors, because retries cover a lost request.
class RequestSender {
 public:
  virtual ~RequestSender() = default;

  /// Broadcasts a request on one interface.
  virtual void Broadcast(controllers::InterfaceIndex interfaceIndex, std::string_view datagram) = 0;
  /// Sends a request to one controller from the non-local socket. Returns false if the send buffer is full:
  /// nothing was sent, and the caller may try again.
  virtual bool SendToAddress(platform::Ipv4 address, std::string_view datagram) = 0;
};

}  // namespace kellanseek::network
