#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_set>
#include <vector>

#include "controllers/InterfaceIndex.h"

namespace kellanseek::engine {

/// Counts sweeps. A sweep is over when every interface, and every controller that is polled by address, has
/// been asked and its time to answer has passed. Consists of counts of ticks, without a clock. Guarded by the
/// table lock, except for Completed().
class Sweeps {
 public:
  /// A run of the network side begins on this many interfaces. A sweep under way starts again.
  void BeginRun(std::size_t interfaces);

  /// Everybody on an interface has been asked; the answers may take `timeout` ticks.
  void Asked(controllers::InterfaceIndex interfaceIndex, std::int32_t timeout);
  /// A controller has been asked by address.
  void Polled(std::uint32_t lanSeekID) { unasked_.erase(lanSeekID); }

  /// Whether the sweep has just begun, so that it does not know yet whom it has to wait for.
  bool WantsPolled() const { return wantsPolled_; }
  /// Whether there was anybody to ask in this sweep.
  bool AsksAnybody() const { return !interfaces_.empty() || anyPolled_; }
  /// The controllers that are polled by address, and the ticks that their answers may take.
  void Expect(std::vector<std::uint32_t> polled, std::int32_t timeout);
  /// Whom the sweep still waits to ask; a caller removes those that are gone.
  std::unordered_set<std::uint32_t>& Unasked() { return unasked_; }

  void Tick();
  /// Whether the next tick changes anything, if nobody is asked before.
  bool CountsTicks() const;

  /// Thread-safe.
  std::uint32_t Completed() const { return completed_.load(std::memory_order_relaxed); }

 private:
  static constexpr std::int32_t kIdle = -1;

  struct Interface {
    std::int32_t ticksLeft = kIdle;  ///< Until the answers have come, if it has been asked.
    bool done = false;
  };
  bool InterfacesDone();
  bool PollsDone();

  std::vector<Interface> interfaces_;
  bool wantsPolled_ = true;
  bool anyPolled_ = false;
  std::unordered_set<std::uint32_t> unasked_;
  std::int32_t pollTicksLeft_ = 0;  ///< Starts when nobody is left to be asked.
  std::atomic<std::uint32_t> completed_{0};
};

}  // namespace kellanseek::engine
