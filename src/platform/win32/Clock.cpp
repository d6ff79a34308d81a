#include "platform/Clock.h"

#include "platform/win32/System.h"

namespace kellanseek::platform {

std::uint64_t MonotonicMilliseconds() { return 1 + GetTickCount64(); }

std::uint32_t TickCount() { return GetTickCount(); }

FILETIME LocalFileTime() {
  FILETIME universal = {};
  FILETIME local = {};
  GetSystemTimeAsFileTime(&universal);
  FileTimeToLocalFileTime(&universal, &local);
  return local;
}

}  // namespace kellanseek::platform
