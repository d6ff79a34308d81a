#pragma once

#include <atomic>
#include <memory>

namespace kellanseek::component {

/// Counts the reasons to keep the module loaded: objects, lists, class factories and clients' locks. Must
/// outlive all of them. Thread-safe.
class ComponentModule {
 public:
  constexpr ComponentModule() = default;
  ComponentModule(const ComponentModule&) = delete;
  ComponentModule& operator=(const ComponentModule&) = delete;

  void Lock() { locks_.fetch_add(1, std::memory_order_relaxed); }
  void Unlock() { locks_.fetch_sub(1, std::memory_order_release); }
  bool InUse() const { return locks_.load(std::memory_order_acquire) != 0; }

 private:
  std::atomic<long> locks_{0};
};

/// Keeps the module loaded for the lifetime of a scope or an object.
class ModuleLock {
 public:
  explicit ModuleLock(ComponentModule& module) : module_(module) { module_.Lock(); }
  ModuleLock(const ModuleLock& other) : ModuleLock(other.module_) {}
  ModuleLock& operator=(const ModuleLock&) = delete;
  ~ModuleLock() { module_.Unlock(); }

  ComponentModule& Module() const { return module_; }

 private:
  ComponentModule& module_;
};

}  // namespace kellanseek::component
