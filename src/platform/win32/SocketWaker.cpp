#include "platform/win32/SocketWaker.h"

#include "platform/win32/DatagramSocket.h"

namespace kellanseek::platform {

SocketWaker::SocketWaker() : socket_(MakeDatagramSocket()) {
  if (socket_ == INVALID_SOCKET || Connect()) return;
  closesocket(socket_);
  socket_ = INVALID_SOCKET;
}

SocketWaker::~SocketWaker() {
  if (socket_ != INVALID_SOCKET) closesocket(socket_);
}

bool SocketWaker::Connect() {
  sockaddr_in self = {};
  self.sin_family = AF_INET;
  self.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const address = reinterpret_cast<sockaddr*>(&self);
  int size = sizeof self;
  u_long nonBlocking = 1;
  return bind(socket_, address, size) == 0 && getsockname(socket_, address, &size) == 0 &&
         connect(socket_, address, size) == 0 &&
         ioctlsocket(socket_, static_cast<long>(FIONBIO), &nonBlocking) == 0;
}

void SocketWaker::Wake() {
  const char nudge = 0;
  if (Usable()) send(socket_, &nudge, sizeof nudge, 0);
}

void SocketWaker::Drain() {
  char nudge = 0;
  while (recv(socket_, &nudge, sizeof nudge, 0) >= 0) {
  }
}

}  // namespace kellanseek::platform
