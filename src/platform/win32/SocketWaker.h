#pragma once

#include "platform/win32/EventNative.h"

namespace kellanseek::platform {

/// A loopback datagram socket connected to itself. Wake() makes it readable and so ends a select that
/// includes it. If the system refuses the socket, waits run to their time-out.
class SocketWaker final : public Waker {
 public:
  SocketWaker();
  ~SocketWaker();
  SocketWaker(const SocketWaker&) = delete;
  SocketWaker& operator=(const SocketWaker&) = delete;

  void Wake() override;

  bool Usable() const { return socket_ != INVALID_SOCKET; }
  SOCKET Socket() const { return socket_; }
  /// Discards the datagrams of past Wake() calls.
  void Drain();

 private:
  bool Connect();

  SOCKET socket_ = INVALID_SOCKET;
};

}  // namespace kellanseek::platform
