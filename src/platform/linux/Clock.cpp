#include "platform/Clock.h"

#include <ctime>

namespace kellanseek::platform {

std::uint64_t MonotonicMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return 1 + static_cast<std::uint64_t>(now.tv_sec) * 1000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

std::uint32_t TickCount() { return static_cast<std::uint32_t>(MonotonicMilliseconds()); }

FILETIME LocalFileTime() {
  constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  const std::int64_t seconds = now.tv_sec + local.tm_gmtoff + kSecondsFrom1601To1970;
  const auto steps = static_cast<std::uint64_t>(seconds * 10000000 + now.tv_nsec / 100);
  FILETIME time;
  time.dwLowDateTime = static_cast<DWORD>(steps);
  time.dwHighDateTime = static_cast<DWORD>(steps >> 32);
  return time;
}

}  // namespace kellanseek::platform
