#pragma once

#include <cstdint>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Milliseconds since some fixed moment, as a counter that wraps around. Monotonic between wraps.
std::uint32_t TickCount();

/// The host's local time (not UTC) in 100 ns steps since 1601-01-01.
FILETIME LocalFileTime();

}  // namespace kellanseek::platform
