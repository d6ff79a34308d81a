#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/Event.h"
#include "tools/kelsim/HelloLog.h"
#include "tools/kelsim/Plant.h"
#include "tools/kelsim/RandomLife.h"
#include "tools/kelsim/Speakers.h"

namespace kellanseek::kelsim {

/// Runs a plant on real sockets, on the calling thread.
class Simulation {
 public:
  /// Counts for the summary.
  struct Tally {
    std::uint64_t requests = 0;
    std::uint64_t sent = 0;
    std::uint64_t failed = 0;
  };

  /// The references must outlive this object. With `hello`, the controllers tell whom they hear. With
  /// `quiet`, events are not printed.
  Simulation(Plant& plant, Speakers& speakers, const std::optional<RandomLife>& life,
             const std::optional<HelloLog>& hello, bool quiet)
      : plant_(plant), speakers_(speakers), life_(life), hello_(hello), quiet_(quiet) {}

  /// Returns once `stop` (manual reset) is set.
  Tally Run(platform::Event& stop, bool announce);

 private:
  Moment Now() const;
  std::chrono::milliseconds UntilNextDue() const;
  void ScheduleRandomEvents();
  void SayHello();
  void RunDueTasks();
  void HandleNextRequest(platform::Event& stop);
  void Print(const LifeEvent& event) const;

  Plant& plant_;
  Speakers& speakers_;
  std::optional<RandomLife> life_;
  std::optional<HelloLog> hello_;
  bool quiet_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  Outcome outcome_;
  Tally tally_;
};

}  // namespace kellanseek::kelsim
