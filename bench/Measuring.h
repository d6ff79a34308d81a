#pragma once

#include <sched.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/Plant.h"
#include "bench/Workstation.h"

namespace kellanseek::bench {

constexpr std::uint16_t kRequestPort = 5512;
constexpr std::uint16_t kResponsePort = 5513;
constexpr const char* kBroadcast = "10.77.255.255";

/// The component under test, and the network namespace of its plant.
struct Setting {
  std::string module;
  std::string plant;
};

/// Prints a figure for bench/run.
void Report(const char* figure, double value);

double Milliseconds(Clock::duration time);

/// Processor time of the process (RUSAGE_SELF) or of the calling thread (RUSAGE_THREAD).
double CpuMilliseconds(int who);

/// Announces `count` controllers, in portions that fit the socket buffers. Throws std::runtime_error.
void Teach(Workstation& workstation, const PlantSocket& plant, std::uint32_t count);

/// During its lifetime, this thread and those it starts run on one processor only. A real plant has its own
/// processors; on this host it must at least not take time from the receivers.
class OnProcessor {
 public:
  explicit OnProcessor(std::size_t wanted) {
    sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(wanted, &one);
    if (CPU_ISSET(wanted, &before_)) sched_setaffinity(0, sizeof one, &one);
  }
  ~OnProcessor() { sched_setaffinity(0, sizeof before_, &before_); }
  OnProcessor(const OnProcessor&) = delete;
  OnProcessor& operator=(const OnProcessor&) = delete;

 private:
  cpu_set_t before_{};
};

std::unique_ptr<Workstation> OnAnotherProcessor(const Setting& setting);

}  // namespace kellanseek::bench
