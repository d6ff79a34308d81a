#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "platform/LockOrder.h"

#if defined(__clang__)
#define KELLANSEEK_TSA(x) __attribute__((x))
#else
#define KELLANSEEK_TSA(x)
#endif

#define GUARDED_BY(x) KELLANSEEK_TSA(guarded_by(x))
#define PT_GUARDED_BY(x) KELLANSEEK_TSA(pt_guarded_by(x))
#define REQUIRES(...) KELLANSEEK_TSA(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) KELLANSEEK_TSA(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) KELLANSEEK_TSA(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KELLANSEEK_TSA(release_capability(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) KELLANSEEK_TSA(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) KELLANSEEK_TSA(acquired_after(__VA_ARGS__))
#define RETURN_CAPABILITY(x) KELLANSEEK_TSA(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS KELLANSEEK_TSA(no_thread_safety_analysis)

namespace kellanseek::platform {

/// A mutex annotated for Clang's thread-safety analysis. Not recursive. Builds for debugging check the order
/// of locks each time.
class KELLANSEEK_TSA(capability("mutex")) Mutex {
 public:
  explicit Mutex(LockOrder order) : order_(order) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() ACQUIRE() {
    CheckLockOrder(order_);
    if (!mutex_.try_lock()) {
      waiting_.fetch_add(1, std::memory_order_relaxed);
      mutex_.lock();
      waiting_.fetch_sub(1, std::memory_order_relaxed);
    }
    LockTaken(order_);
  }
  void Unlock() RELEASE() {
    LockReleased(order_);
    mutex_.unlock();
  }

  /// Lets those who wait for the lock have it first. For a thread that takes it again and again: without this
  /// it would have it back each time before any of them has woken up.
  void GiveWay() const EXCLUDES(this) {
    constexpr int kPatience = 1000;  // about a millisecond, so that many waiting threads cannot stop this one
    for (int i = 0; i < kPatience && waiting_.load(std::memory_order_relaxed) > 0; ++i)
      std::this_thread::yield();
  }

 private:
  std::mutex mutex_;
  std::atomic<int> waiting_{0};
  LockOrder order_;
};

/// Locks a Mutex for the lifetime of a scope.
class KELLANSEEK_TSA(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~MutexLock() RELEASE() { mutex_.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace kellanseek::platform
