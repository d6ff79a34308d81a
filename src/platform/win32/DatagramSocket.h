#pragma once

#include "platform/win32/System.h"

namespace kellanseek::platform {

/// Creates an IPv4 datagram socket that supports overlapped calls. It is not inherited by child processes,
/// which would keep its port in use. On failure returns INVALID_SOCKET, with the reason in WSAGetLastError().
SOCKET MakeDatagramSocket();

}  // namespace kellanseek::platform
