#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/ReverseLookup.h"

namespace kellanseek::test {

/// A name service with the names set by the test. Thread-safe.
class FakeReverseLookup : public platform::ReverseLookup {
 public:
  void SetName(std::string_view address, std::string name) {
    const std::lock_guard lock(mutex_);
    names_[platform::ParseIpv4(address)] = std::move(name);
  }
  /// Called at the start of every look-up, on its thread, with no lock held. Set it before the first look-up.
  void OnLookup(std::function<void(platform::Ipv4)> action) { onLookup_ = std::move(action); }
  /// Waits until `count` look-ups have been answered.
  void WaitForLookups(std::size_t count) {
    std::unique_lock lock(mutex_);
    answered_.wait(lock, [&] { return lookups_ >= count; });
  }
  std::size_t Lookups() const {
    const std::lock_guard lock(mutex_);
    return lookups_;
  }

  std::optional<std::string> HostName(platform::Ipv4 address) override {
    if (onLookup_) onLookup_(address);
    const std::lock_guard lock(mutex_);
    ++lookups_;
    answered_.notify_all();
    const auto found = names_.find(address);
    if (found == names_.end()) return std::nullopt;
    return found->second;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable answered_;
  std::function<void(platform::Ipv4)> onLookup_;
  std::map<platform::Ipv4, std::string> names_;
  std::size_t lookups_ = 0;
};

}  // namespace kellanseek::test
