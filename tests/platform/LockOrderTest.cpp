#include <gtest/gtest.h>

#include "platform/Mutex.h"

namespace kellanseek::platform {
namespace {

TEST(LockOrderDeathTest, AViolationNamesBothLocks) {
  Mutex table(LockOrder::Table);
  Mutex queue(LockOrder::EventQueue);
  const auto wrongWayRound = [&] {
    table.Lock();
    queue.Lock();
    table.Unlock();  // Released first, so only the queue's is held.
    table.Lock();
    table.Unlock();
    queue.Unlock();
  };
  EXPECT_DEATH(wrongWayRound(), "holds the lock \"event queue\" takes the lock \"table\"");
  const auto calling = [&] {
    const MutexLock lock(table);
    CheckNoLockHeld("calls a sink");
  };
  EXPECT_DEATH(calling(), "holds the lock \"table\" calls a sink");
}

}  // namespace
}  // namespace kellanseek::platform
