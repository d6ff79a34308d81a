#pragma once

#include "platform/UdpSocket.h"

namespace kellanseek::kelseek {

/// The socket library of the system, for sockets of the tool's own: the component's use of it ends with the
/// component.
class SocketLibrary {
 public:
  SocketLibrary() { platform::SystemUdpNetwork().Startup(); }
  ~SocketLibrary() { platform::SystemUdpNetwork().Cleanup(); }
  SocketLibrary(const SocketLibrary&) = delete;
  SocketLibrary& operator=(const SocketLibrary&) = delete;
};

}  // namespace kellanseek::kelseek
