#include "engine/EngineLock.h"

namespace kellanseek::engine {

void EngineLock::Acquire() {
  if (!HeldByThisThread()) {
    mutex_.lock();
    owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  }
  ++depth_;
}

void EngineLock::Release() {
  if (--depth_ > 0) return;
  owner_.store(std::thread::id(), std::memory_order_relaxed);
  mutex_.unlock();
}

void EngineLock::ReleaseAll() {
  while (HeldByThisThread()) Release();
}

}  // namespace kellanseek::engine
