#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace kellanseek::engine {

/// Separates rebuilds of the interface table from identity messages of virtual controllers. Recursive; taken
/// before the table lock. One path of the dispatcher returns with the lock held by the calling thread, which
/// releases it with ReleaseAll().
class EngineLock {
 public:
  void Acquire();
  void Release();
  /// Releases the lock as often as the calling thread holds it. Cheap if it does not hold the lock.
  void ReleaseAll();
  bool HeldByThisThread() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

  /// Holds the lock for the lifetime of a scope.
  class Scope {
   public:
    explicit Scope(EngineLock& lock) : lock_(lock) { lock_.Acquire(); }
    ~Scope() { lock_.Release(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    EngineLock& lock_;
  };

 private:
  std::mutex mutex_;
  std::atomic<std::thread::id> owner_{};
  int depth_ = 0;  ///< Accessed only by the owner.
};

}  // namespace kellanseek::engine
