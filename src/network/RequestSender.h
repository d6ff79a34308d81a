#pragma once

#include <cstddef>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::network {

/// Sends the requests of the refresh cycle. A lost request is covered by the retries, so no error is
/// reported.
class RequestSender {
 public:
  virtual ~RequestSender() = default;

  /// Broadcasts a request on the interface at that position.
  virtual void Broadcast(std::size_t position, std::string_view datagram) = 0;
  /// Sends a request to one controller by address, from the non-local socket. False when the system has no
  /// room for it now: nothing was sent, and it may be tried again.
  virtual bool SendToAddress(platform::Ipv4 address, std::string_view datagram) = 0;
};

}  // namespace kellanseek::network
