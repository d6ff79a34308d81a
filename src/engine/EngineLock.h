#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace kellanseek::engine {

/// Keeps the rebuild of the interface table and the identity messages of virtual controllers apart.
/// Re-entrant, and taken before the table lock. One path of the dispatcher ends with the lock held by the
/// calling thread; that thread gives it back with ReleaseAll().
class EngineLock {
 public:
  void Acquire();
  void Release();
  /// Gives back all that the calling thread holds, if anything. Cheap when it holds nothing.
  void ReleaseAll();
  bool HeldByThisThread() const {
    return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id();
  }

  /// Holds the lock for the life of a scope.
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
  int depth_ = 0;  ///< Only the owner reads or writes it.
};

}  // namespace kellanseek::engine
