#include "engine/Sweeps.h"

#include <algorithm>

namespace kellanseek::engine {

void Sweeps::BeginRun(std::size_t interfaces) {
  interfaces_.assign(interfaces, {});
  wantsPolled_ = true;
  unasked_.clear();
}

void Sweeps::Asked(controllers::InterfaceIndex interfaceIndex, std::int32_t timeout) {
  if (PlaceOf(interfaceIndex) >= interfaces_.size()) return;
  Interface& asked = interfaces_[PlaceOf(interfaceIndex)];
  // The answers to an earlier request come within the same time.
  if (asked.ticksLeft == kIdle) asked.ticksLeft = std::max(timeout, 1);
}

void Sweeps::Expect(std::vector<std::uint32_t> polled, std::int32_t timeout) {
  // First, because it can fail: the sweep would otherwise end without those.
  unasked_ = {polled.begin(), polled.end()};
  wantsPolled_ = false;
  anyPolled_ = !polled.empty();
  pollTicksLeft_ = anyPolled_ ? std::max(timeout, 0) : 0;
}

void Sweeps::Tick() {
  const bool interfaces = InterfacesDone();
  const bool polls = PollsDone();
  if (!interfaces || !polls) return;
  // With nobody to ask, the empty list is complete once and for all.
  if (AsksAnybody() || Completed() == 0) completed_.fetch_add(1, std::memory_order_relaxed);
  for (Interface& each : interfaces_) each.done = false;
  wantsPolled_ = true;
}

bool Sweeps::CountsTicks() const {
  const auto waits = [](const Interface& each) { return each.ticksLeft > 0; };
  const auto done = [](const Interface& each) { return each.done; };
  if (std::any_of(interfaces_.begin(), interfaces_.end(), waits)) return true;
  if (wantsPolled_) return AsksAnybody();
  const bool isOver = std::all_of(interfaces_.begin(), interfaces_.end(), done);
  return unasked_.empty() && (pollTicksLeft_ > 0 || isOver);
}

bool Sweeps::InterfacesDone() {
  bool all = true;
  for (Interface& each : interfaces_) {
    if (each.ticksLeft > 0 && --each.ticksLeft == 0) {
      each.ticksLeft = kIdle;
      each.done = true;
    }
    all = all && each.done;
  }
  return all;
}

bool Sweeps::PollsDone() {
  if (wantsPolled_ || !unasked_.empty()) return false;
  if (pollTicksLeft_ > 0) --pollTicksLeft_;
  return pollTicksLeft_ == 0;
}

}  // namespace kellanseek::engine
