#pragma once

#include <atomic>
#include <chrono>
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

/// Tells the processor that this thread waits in a loop, so that the other thread of its core gets on.
inline void SpinPause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}

/// A mutex annotated for Clang's thread-safety analysis. Not recursive. Builds for debugging check the order
/// of locks each time.
class KELLANSEEK_TSA(capability("mutex")) Mutex {
 public:
  explicit Mutex(LockOrder order) : order_(order) {}
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() ACQUIRE() {
    CheckLockOrder(order_);
    if (!mutex_.try_lock()) LockContended();
    LockTaken(order_);
  }
  void Unlock() RELEASE() {
    LockReleased(order_);
    mutex_.unlock();
  }

  /// If threads have waited long for the lock, lets one of them have it first. For a thread that takes it
  /// again and again, and would have it back each time before any of them has woken up. To give way at once
  /// would let a few busy threads stop this one.
  void GiveWay() const EXCLUDES(this) {
    constexpr std::chrono::milliseconds kLong{5}, kPatience{1};
    if (waiting_.load(std::memory_order_relaxed) == 0) return;
    const auto begin = Clock::now();
    const auto progress = progress_.load(std::memory_order_relaxed);
    if (begin - progress < kLong) return;
    while (waiting_.load(std::memory_order_relaxed) > 0 &&
           progress_.load(std::memory_order_relaxed) == progress && Clock::now() - begin < kPatience)
      std::this_thread::yield();
  }

 private:
  void LockContended() {
    if (LockedInASpin()) {
      if (waiting_.load(std::memory_order_relaxed) > 0) NoteProgress();
      return;
    }
    if (waiting_.fetch_add(1, std::memory_order_relaxed) == 0) NoteProgress();
    mutex_.lock();
    waiting_.fetch_sub(1, std::memory_order_relaxed);
    NoteProgress();
  }

  /// Tries for a moment before the thread goes to sleep: most holders keep a lock for less time than it takes
  /// to fall asleep and wake up.
  bool LockedInASpin() {
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i) {
      SpinPause();
      if (mutex_.try_lock()) return true;
    }
    return false;
  }

  using Clock = std::chrono::steady_clock;
  void NoteProgress() { progress_.store(Clock::now(), std::memory_order_relaxed); }

  std::mutex mutex_;
  std::atomic<int> waiting_{0};
  /// When threads began to wait, or one that found it taken had the lock.
  std::atomic<Clock::time_point> progress_{};
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
