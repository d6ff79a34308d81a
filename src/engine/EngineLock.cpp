#include "engine/EngineLock.h"

#include "platform/LockOrder.h"

namespace kellanseek::engine {

void EngineLock::Acquire() {
  if (!HeldByThisThread()) {
    platform::CheckLockOrder(platform::LockOrder::Engine);
    mutex_.lock();
    platform::LockTaken(platform::LockOrder::Engine);
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  }
  ++depth_;
}

void EngineLock::Release() {
  if (--depth_ > 0) return;
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  platform::LockReleased(platform::LockOrder::Engine);
  mutex_.unlock();
}

void EngineLock::ReleaseAll() {
  while (HeldByThisThread()) Release();
}

}  // namespace kellanseek::engine
