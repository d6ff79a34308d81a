#pragma once

#include "platform/win32/EventNative.h"

namespace kellanseek::platform {

/// A datagram socket connected to itself on the loopback: put into a set that is waited for with select, it
/// ends the wait when Wake() is called. Where the system refuses it, waits run to their time-out instead.
class SocketWaker final : public Waker {
 public:
  SocketWaker();
  ~SocketWaker();
  SocketWaker(const SocketWaker&) = delete;
  SocketWaker& operator=(const SocketWaker&) = delete;

  void Wake() override;

  bool Usable() const { return socket_ != INVALID_SOCKET; }
  SOCKET Socket() const { return socket_; }
  /// Takes off what past calls of Wake() have left.
  void Drain();

 private:
  bool Connect();

  SOCKET socket_ = INVALID_SOCKET;
};

}  // namespace kellanseek::platform
