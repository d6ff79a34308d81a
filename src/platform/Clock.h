#pragma once

#include <cstdint>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// Milliseconds since an unspecified moment. Monotonic, except that the counter wraps around.
std::uint32_t TickCount();

/// Milliseconds since an unspecified moment, which is before any the caller can have seen: never 0.
/// Monotonic; on Linux it stands still while the host sleeps.
std::uint64_t MonotonicMilliseconds();

/// The host's local time (not UTC) in 100 ns steps since 1601-01-01.
FILETIME LocalFileTime();

}  // namespace kellanseek::platform
