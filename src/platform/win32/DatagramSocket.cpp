#include "platform/win32/DatagramSocket.h"

namespace kellanseek::platform {

SOCKET MakeDatagramSocket() {
  // Systems before Windows 7 SP1 cannot create a socket that is not inherited.
  constexpr DWORD kNoHandleInherit = 0x80;
  constexpr DWORD kPlain = WSA_FLAG_OVERLAPPED;
  const SOCKET made = WSASocketW(AF_INET, SOCK_DGRAM, 0, nullptr, 0, kPlain | kNoHandleInherit);
  if (made != INVALID_SOCKET || WSAGetLastError() != WSAEINVAL) return made;
  const SOCKET inherited = WSASocketW(AF_INET, SOCK_DGRAM, 0, nullptr, 0, kPlain);
  if (inherited != INVALID_SOCKET) {
    SetHandleInformation(reinterpret_cast<HANDLE>(inherited), HANDLE_FLAG_INHERIT, 0);
  }
  return inherited;
}

}  // namespace kellanseek::platform
