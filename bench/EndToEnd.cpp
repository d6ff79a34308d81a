// Measures a component object over a real network between two namespaces, which bench/run creates.
#include <malloc.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/BareReceiver.h"
#include "bench/Plant.h"
#include "bench/Workstation.h"

namespace kellanseek::bench {
namespace {

using std::chrono::milliseconds;

constexpr std::uint16_t kRequestPort = 5512;
constexpr std::uint16_t kResponsePort = 5513;
constexpr const char* kBroadcast = "10.77.255.255";

struct Setting {
  std::string module;
  std::string plant;
};

void Report(const char* figure, double value) { std::printf("%s %.6g\n", figure, value); }

double Milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

/// Processor time of the process (RUSAGE_SELF) or of the calling thread (RUSAGE_THREAD).
double CpuMilliseconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto of = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_usec) / 1e3;
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

/// Announces the controllers from `first` on, in portions that fit the socket buffers.
void Teach(Workstation& workstation, const PlantSocket& plant, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    plant.Send(IdentityDatagram(i));
    if (i % 100 == 99) workstation.WaitUntilKnown(i + 1, milliseconds(500));
  }
  if (!workstation.WaitUntilKnown(count, milliseconds(5000)))
    throw std::runtime_error("teaching lost datagrams");
}

void CreateAndRelease(const Setting& setting) {
  { Workstation warmUp(setting.module); }
  std::vector<double> creation, release;
  for (int i = 0; i < 11; ++i) {
    const auto begin = Clock::now();
    auto workstation = std::make_unique<Workstation>(setting.module);
    creation.push_back(Milliseconds(Clock::now() - begin));
    std::this_thread::sleep_for(milliseconds(50));
    const auto end = Clock::now();
    workstation.reset();
    release.push_back(Milliseconds(Clock::now() - end));
  }
  Report("create_ms", *std::max_element(creation.begin(), creation.end()));
  Report("release_ms", *std::max_element(release.begin(), release.end()));
}

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

std::unique_ptr<Workstation> OnAnotherProcessor(const Setting& setting) {
  const OnProcessor one(1);
  return std::make_unique<Workstation>(setting.module);
}

void Burst(const Setting& setting, std::uint32_t count, const char* figure, const char* knownFigure) {
  std::vector<std::string> datagrams;
  for (std::uint32_t i = 0; i < count; ++i) datagrams.push_back(IdentityDatagram(i));
  double worst = 0;
  std::uint32_t fewest = count;
  for (int round = 0; round < 5; ++round) {
    const auto workstation = OnAnotherProcessor(setting);
    const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
    std::this_thread::sleep_for(milliseconds(100));
    const OnProcessor own(0);
    const auto begin = Clock::now();
    for (const std::string& datagram : datagrams) plant.Send(datagram);
    const bool all = workstation->WaitUntilKnown(count, milliseconds(300));
    worst = std::max(worst, all ? Milliseconds(Clock::now() - begin) : 1e9);
    fewest = std::min(fewest, workstation->Known());
  }
  Report(figure, worst);
  Report(knownFigure, fewest);
}

/// Datagrams per second read from the socket while the plant sends faster than that.
double Throughput(const PlantSocket& plant, std::uint32_t known) {
  std::vector<std::string> datagrams;
  for (std::uint32_t i = 0; i < known; ++i) datagrams.push_back(IdentityDatagram(i));
  const std::uint64_t droppedBefore = DroppedAt(kResponsePort);
  std::uint64_t sent = 0;
  const auto begin = Clock::now();
  while (Clock::now() - begin < milliseconds(700)) {
    for (int i = 0; i < 64; ++i) sent += plant.Send(datagrams[sent % known]) ? 1 : 0;
  }
  const double seconds = Milliseconds(Clock::now() - begin) / 1e3;
  return static_cast<double>(sent - (DroppedAt(kResponsePort) - droppedBefore)) / seconds;
}

void ReceiveRate(const Setting& setting) {
  constexpr std::uint32_t kKnown = 1000;
  std::vector<double> bare, component;
  for (int round = 0; round < 3; ++round) {
    const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
    {
      const BareReceiver receiver(kRequestPort, kResponsePort, {});
      bare.push_back(Throughput(plant, kKnown));
    }
    Workstation workstation(setting.module);
    std::this_thread::sleep_for(milliseconds(100));
    Teach(workstation, plant, kKnown);
    component.push_back(Throughput(plant, kKnown));
  }
  std::sort(bare.begin(), bare.end());
  std::sort(component.begin(), component.end());
  Report("receive_bare_per_s", bare[1]);
  Report("receive_component_per_s", component[1]);
}

/// Times from sending a datagram to the call of `entered`, one datagram at a time.
class Latency {
 public:
  void Entered() {
    const std::lock_guard<std::mutex> lock(mutex_);
    entered_ = Clock::now();
    done_ = true;
    changed_.notify_one();
  }
  double Median(const std::function<void(std::uint32_t)>& send) {
    std::vector<double> times;
    for (std::uint32_t i = 0; i < 2000; ++i) {
      std::unique_lock<std::mutex> lock(mutex_);
      done_ = false;
      lock.unlock();
      const auto begin = Clock::now();
      send(i);
      lock.lock();
      if (!changed_.wait_for(lock, milliseconds(200), [this] { return done_; })) continue;
      times.push_back(Milliseconds(entered_ - begin) * 1e3);
    }
    if (times.size() < 1900) throw std::runtime_error("too many datagrams were lost on a quiet network");
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                     times.end());
    return times[times.size() / 2];
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  Clock::time_point entered_;
};

void NotifyLatency(const Setting& setting) {
  const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
  const auto send = [&](std::uint32_t i) { plant.Send(IdentityDatagram(0, i + 1)); };
  double bare = 0;
  {
    Latency latency;
    const BareReceiver receiver(kRequestPort, kResponsePort, [&] { latency.Entered(); });
    bare = latency.Median(send);
  }
  Latency latency;
  Sink sink([&] { latency.Entered(); });
  Workstation workstation(setting.module);
  std::this_thread::sleep_for(milliseconds(100));
  Teach(workstation, plant, 1000);
  workstation.Subscribe(sink);
  Report("notify_bare_us", bare);
  Report("notify_component_us", latency.Median(send));
}

void TenThousandKnown(const Setting& setting) {
  constexpr std::uint32_t kKnown = 10000;
  Workstation workstation(setting.module);
  const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
  std::this_thread::sleep_for(milliseconds(200));
  const auto heapBefore = mallinfo2();
  Teach(workstation, plant, kKnown);
  std::this_thread::sleep_for(milliseconds(500));
  const auto heapAfter = mallinfo2();
  Report("bytes_per_controller", static_cast<double>(heapAfter.uordblks + heapAfter.hblkhd -
                                                     heapBefore.uordblks - heapBefore.hblkhd) /
                                     kKnown);

  const std::uint32_t first = workstation.FirstId();
  constexpr std::uint32_t kCalls = 2000000;
  const double callsBefore = CpuMilliseconds(RUSAGE_THREAD);
  std::uint32_t at = 0;
  for (std::uint32_t i = 0; i < kCalls; ++i) {
    KelBstr name;
    workstation.identity->GetCtrlName(first + at, name.Put());
    at = (at + 7919) % kKnown;
  }
  Report("get_name_ns", (CpuMilliseconds(RUSAGE_THREAD) - callsBefore) * 1e6 / kCalls);

  const double cpuBefore = CpuMilliseconds(RUSAGE_SELF);
  const auto idle = Clock::now();
  std::this_thread::sleep_for(milliseconds(8000));
  Report("idle_cpu_percent",
         (CpuMilliseconds(RUSAGE_SELF) - cpuBefore) / Milliseconds(Clock::now() - idle) * 100);
}

}  // namespace
}  // namespace kellanseek::bench

int main(int argc, char** argv) {
  using namespace kellanseek::bench;
  if (argc != 3) {
    std::fprintf(stderr, "usage: endtoend MODULE PLANT-NAMESPACE\n");
    return 2;
  }
  const Setting setting{argv[1], argv[2]};
  try {
    CreateAndRelease(setting);
    Burst(setting, 1000, "burst_1000_ms", "burst_1000_known");
    Burst(setting, 5000, "burst_5000_ms", "burst_5000_known");
    ReceiveRate(setting);
    NotifyLatency(setting);
    TenThousandKnown(setting);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "endtoend: %s\n", error.what());
    return 1;
  }
  return 0;
}
