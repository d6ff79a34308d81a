#pragma once

#include "platform/win32/System.h"

namespace kellanseek::platform {

/// A new IPv4 datagram socket, for overlapped use too, that programs started by this process do not inherit:
/// they would keep its port. INVALID_SOCKET, with the reason in WSAGetLastError(), when there is none to be
/// had.
SOCKET MakeDatagramSocket();

}  // namespace kellanseek::platform
