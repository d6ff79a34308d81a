#include "platform/LockOrder.h"

#ifdef KELLANSEEK_CHECK_LOCKS

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace kellanseek::platform {
namespace {

constexpr std::array kNames = {"program",     "run",           "engine",       "table",
                               "host names",  "daemon list",   "daemon queue", "subscribers",
                               "event queue", "address watch", "error text",   "journal",
                               "terminal",    "stop signal",   "event",        "trace"};

const char* NameOf(LockOrder lock) { return kNames.at(static_cast<std::size_t>(lock)); }

/// The locks that the calling thread holds. A plain array, so that the checks neither allocate nor have a
/// destructor that runs before the thread's last lock is released.
struct Held {
  std::array<LockOrder, kNames.size()> locks;
  std::size_t count;
};
thread_local Held held;

}  // namespace

void CheckLockOrder(LockOrder wanted) {
  for (std::size_t i = 0; i < held.count; ++i) {
    const LockOrder has = held.locks.at(i);
    if (has < wanted) continue;
    std::fprintf(stderr, "KelLanSeek: a thread that holds the lock \"%s\" takes the lock \"%s\"\n",
                 NameOf(has), NameOf(wanted));
    std::abort();
  }
}

void CheckNoLockHeld(const char* what) {
  if (held.count == 0) return;
  std::fprintf(stderr, "KelLanSeek: a thread that holds the lock \"%s\" %s\n", NameOf(held.locks.front()),
               what);
  std::abort();
}

void LockTaken(LockOrder taken) { held.locks.at(held.count++) = taken; }

void LockReleased(LockOrder released) {
  const auto end = held.locks.begin() + static_cast<std::ptrdiff_t>(held.count);
  const auto found = std::find(held.locks.begin(), end, released);
  if (found == end) return;
  std::copy(found + 1, end, found);
  --held.count;
}

}  // namespace kellanseek::platform

#endif
