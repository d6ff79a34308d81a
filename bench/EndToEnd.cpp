// Measures a component object over a real network between two namespaces, which bench/run creates.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bench/BareReceiver.h"
#include "bench/ManyKnown.h"
#include "bench/Measuring.h"

namespace kellanseek::bench {
namespace {

using std::chrono::milliseconds;

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

void Bursts(const Setting& setting) {
  Burst(setting, 1000, "burst_1000_ms", "burst_1000_known");
  Burst(setting, 5000, "burst_5000_ms", "burst_5000_known");
  Burst(setting, 10000, "burst_10000_ms", "burst_10000_known");
}

/// From the start until so many of the configured controllers are known. bench/run makes the configuration
/// and the plant.
void Configured(const Setting& setting) {
  const auto begin = Clock::now();
  Workstation workstation(setting.module);
  for (const std::uint32_t count : {512U, 900U}) {
    const bool known = workstation.WaitUntilKnown(count, milliseconds(10000));
    Report(("configured_" + std::to_string(count) + "_ms").c_str(),
           known ? Milliseconds(Clock::now() - begin) : 1e9);
  }
}

/// Processor nanoseconds of this process's threads with a name.
double CpuNanoseconds(const char* name) {
  double total = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string comm;
    double nanoseconds = 0;
    std::getline(std::ifstream(thread.path() / "comm"), comm);
    std::ifstream(thread.path() / "schedstat") >> nanoseconds;
    if (comm == name) total += nanoseconds;
  }
  return total;
}

/// The identities of `count` known controllers in a few calls' worth of bytes.
class Flow {
 public:
  static constexpr std::uint32_t kPerCall = 50;

  explicit Flow(std::uint32_t count) : size_(IdentityDatagram(0).size()) {
    for (std::uint32_t i = 0; i < count; ++i) bytes_ += IdentityDatagram(i);
  }
  /// Sends the next `count` datagrams, at most kPerCall.
  bool SendNext(const PlantSocket& plant, std::uint32_t count) {
    const std::size_t wanted = count * size_;
    if (next_ + wanted > bytes_.size()) next_ = 0;
    const bool sent = plant.SendEqual(std::string_view(bytes_).substr(next_, wanted), size_);
    next_ += wanted;
    return sent;
  }

 private:
  std::size_t size_;
  std::string bytes_;
  std::size_t next_ = 0;
};

constexpr std::uint32_t kKnown = 1000;

/// Processor nanoseconds of the receiving thread for each datagram that it reads, while two senders offer
/// more than it can take.
double CpuPerDatagramOfAFlood(const Setting& setting, const char* receiver) {
  const std::uint64_t droppedBefore = DroppedAt(kResponsePort);
  const double cpuBefore = CpuNanoseconds(receiver);
  std::atomic<std::uint64_t> sent = 0;
  {
    std::vector<std::jthread> senders;
    for (int sender = 0; sender < 2; ++sender) {
      senders.emplace_back([&] {
        const OnProcessor own(0);
        const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
        Flow flow(kKnown);
        const auto end = Clock::now() + milliseconds(600);
        while (Clock::now() < end)
          if (flow.SendNext(plant, Flow::kPerCall)) sent += Flow::kPerCall;
      });
    }
  }
  std::this_thread::sleep_for(milliseconds(50));
  const auto read = static_cast<double>(sent - (DroppedAt(kResponsePort) - droppedBefore));
  return (CpuNanoseconds(receiver) - cpuBefore) / read;
}

/// The same at 1,000 datagrams a second, in portions of 5.
double CpuPerDatagramAtEase(const Setting& setting, const char* receiver) {
  constexpr std::uint32_t kPortion = 5;
  constexpr std::uint32_t kPortions = 300;
  const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
  Flow flow(kKnown);
  const double cpuBefore = CpuNanoseconds(receiver);
  auto due = Clock::now();
  for (std::uint32_t i = 0; i < kPortions; ++i) {
    flow.SendNext(plant, kPortion);
    std::this_thread::sleep_until(due += milliseconds(kPortion));
  }
  return (CpuNanoseconds(receiver) - cpuBefore) / (kPortion * kPortions);
}

/// The receiving thread of the component and of the two bare loops, one after the other in each round.
void ReceivePath(const Setting& setting) {
  std::map<std::string, std::vector<double>> figures;
  const auto measure = [&](const std::string& who, const char* thread) {
    figures["flood_" + who + "_ns"].push_back(CpuPerDatagramOfAFlood(setting, thread));
    figures["ease_" + who + "_ns"].push_back(CpuPerDatagramAtEase(setting, thread));
  };
  for (int round = 0; round < 5; ++round) {
    for (const auto& [who, loop] :
         {std::pair("select", BareReceiver::Loop::Select), std::pair("batch", BareReceiver::Loop::Batch)}) {
      std::unique_ptr<BareReceiver> bare;
      {
        const OnProcessor one(1);
        bare = std::make_unique<BareReceiver>(kRequestPort, kResponsePort, nullptr, loop);
      }
      measure(who, BareReceiver::kThreadName);
    }
    const auto workstation = OnAnotherProcessor(setting);
    std::this_thread::sleep_for(milliseconds(100));
    Teach(*workstation, PlantSocket(setting.plant, kBroadcast, kResponsePort), kKnown);
    measure("component", "KelReceiver");
  }
  for (auto& [figure, values] : figures) {
    std::nth_element(values.begin(), values.begin() + 2, values.end());
    Report(figure.c_str(), values[2]);
  }
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
  /// Microseconds, ascending.
  std::vector<double> Measure(const std::function<void(std::uint32_t)>& send) {
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
    std::sort(times.begin(), times.end());
    return times;
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
  const auto report = [](const std::string& who, const std::vector<double>& times) {
    Report(("notify_" + who + "_us").c_str(), times[times.size() / 2]);
    Report(("notify_" + who + "_p99_us").c_str(), times[times.size() * 99 / 100]);
  };
  {
    Latency latency;
    const BareReceiver receiver(kRequestPort, kResponsePort, [&] { latency.Entered(); });
    report("bare", latency.Measure(send));
  }
  Latency latency;
  Sink sink([&] { latency.Entered(); });
  Workstation workstation(setting.module);
  std::this_thread::sleep_for(milliseconds(100));
  Teach(workstation, plant, 1000);
  workstation.Subscribe(sink);
  report("component", latency.Measure(send));
}

}  // namespace
}  // namespace kellanseek::bench

int main(int argc, char** argv) {
  using namespace kellanseek::bench;
  const std::map<std::string, void (*)(const Setting&)> measurements = {
      {"create", CreateAndRelease}, {"bursts", Bursts},          {"receive", ReceivePath},
      {"notify", NotifyLatency},    {"known", TenThousandKnown}, {"readers", BesideReaders},
      {"configured", Configured}};
  if (argc < 4) {
    std::fprintf(
        stderr,
        "usage: endtoend MODULE PLANT-NAMESPACE create|bursts|receive|notify|known|readers|configured ...\n");
    return 2;
  }
  const Setting setting{argv[1], argv[2]};
  try {
    for (int wanted = 3; wanted < argc; ++wanted) measurements.at(argv[wanted])(setting);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "endtoend: %s\n", error.what());
    return 1;
  }
  return 0;
}
