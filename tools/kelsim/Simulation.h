#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/Event.h"
#include "tools/kelsim/Plant.h"
#include "tools/kelsim/RandomLife.h"
#include "tools/kelsim/Speakers.h"

namespace kellanseek::kelsim {

/// Lets a plant live on real sockets, on the calling thread.
class Simulation {
 public:
  /// What it came to.
  struct Tally {
    std::uint64_t requests = 0;
    std::uint64_t sent = 0;
    std::uint64_t failed = 0;
  };

  /// All that is handed in outlives this object. With `quiet`, events are not told on standard output.
  Simulation(Plant& plant, Speakers& speakers, const std::optional<RandomLife>& life, bool quiet)
      : plant_(plant), speakers_(speakers), life_(life), quiet_(quiet) {}

  /// Returns after `stop` (manual reset) was set.
  Tally Run(platform::Event& stop, bool announce);

 private:
  Moment Now() const;
  std::chrono::milliseconds UntilNextDue() const;
  void Live();
  void Act();
  void Listen(platform::Event& stop);
  void Tell(const LifeEvent& event) const;

  Plant& plant_;
  Speakers& speakers_;
  std::optional<RandomLife> life_;
  bool quiet_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Outcome outcome_;
  Tally tally_;
};

}  // namespace kellanseek::kelsim
