#include "bench/Measuring.h"

#include <sys/resource.h>

#include <cstdio>
#include <stdexcept>

namespace kellanseek::bench {

using std::chrono::milliseconds;

void Report(const char* figure, double value) { std::printf("%s %.6g\n", figure, value); }

double Milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

double CpuMilliseconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto of = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

void Teach(Workstation& workstation, const PlantSocket& plant, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    plant.Send(IdentityDatagram(i));
    if (i % 100 == 99) workstation.WaitUntilKnown(i + 1, milliseconds(500));
  }
  if (!workstation.WaitUntilKnown(count, milliseconds(5000)))
    throw std::runtime_error("teaching lost datagrams");
}

std::unique_ptr<Workstation> OnAnotherProcessor(const Setting& setting) {
  const OnProcessor one(1);
  return std::make_unique<Workstation>(setting.module);
}

}  // namespace kellanseek::bench
