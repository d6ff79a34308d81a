#pragma once

#include <atomic>
#include <cstdint>

#include "config/Settings.h"
#include "controllers/PollSchedule.h"

namespace kellanseek::network {

/// Whether configured and added controllers are polled at their addresses: as configured, until the socket
/// for it cannot be opened. From then on they are asked by broadcast like all others, for the rest of the
/// component's life, so that a controller does not switch between the two with every rebuild of the network
/// side. Thread-safe.
class AddressPolling {
 public:
  explicit AddressPolling(const config::CKelLanSeekConfigSettings& settings) : settings_(settings) {}

  bool Enabled() const {
    return settings_.NonLocalUpdatesEnabled != 0 && !switchedOff_.load(std::memory_order_relaxed);
  }
  void SwitchOff() { switchedOff_.store(true, std::memory_order_relaxed); }

  /// Ticks to the next poll of an idle controller; kNone if polling is off.
  std::int32_t NextPollTicks() const {
    return Enabled() ? settings_.NonLocalRefreshIntervalTicks() : controllers::kNone;
  }

 private:
  const config::CKelLanSeekConfigSettings& settings_;
  std::atomic<bool> switchedOff_{false};
};

}  // namespace kellanseek::network
