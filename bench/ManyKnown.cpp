#include "bench/ManyKnown.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/BareReceiver.h"

namespace kellanseek::bench {
namespace {

using std::chrono::milliseconds;

/// Nanoseconds of one GetCtrlName on the calling thread.
double GetName(Workstation& workstation, std::uint32_t known) {
  constexpr std::uint32_t kCalls = 1000000;
  const std::uint32_t first = workstation.FirstId();
  const double before = CpuMilliseconds(RUSAGE_THREAD);
  std::uint32_t at = 0;
  for (std::uint32_t call = 0; call < kCalls; ++call) {
    KelBstr name;
    workstation.identity->GetCtrlName(first + at, name.Put());
    at = (at + 7919) % known;
  }
  return (CpuMilliseconds(RUSAGE_THREAD) - before) * 1e6 / kCalls;
}

/// The mean of two threads that call at the same time.
double GetNameOnTwoThreads(Workstation& workstation, std::uint32_t known) {
  double other = 0;
  std::jthread second([&] { other = GetName(workstation, known); });
  const double own = GetName(workstation, known);
  second.join();
  return (own + other) / 2;
}

/// Milliseconds to list all controllers and read the name of each, the median of eleven.
double ListWithNames(Workstation& workstation) {
  std::vector<double> times;
  for (int round = 0; round < 11; ++round) {
    const auto begin = Clock::now();
    KelRetrievalParams page{};
    page.noOfElts = -2;
    KelComPtr<IKelEnumCtrlIdentity> list;
    if (workstation.seek->GetCtrlList(&page, list.Put()) < 0) throw std::runtime_error("cannot list");
    AvailableCtrlsListItem item{};
    long read = 0;
    for (ULONG fetched = 0; list->RemNext(1, &item, &fetched) == S_OK; ++read) {
      KelBstr name;
      workstation.identity->GetCtrlName(item.lanSeekID, name.Put());
    }
    times.push_back(Milliseconds(Clock::now() - begin));
    if (read != page.noOfElts) throw std::runtime_error("the list is not complete");
  }
  std::nth_element(times.begin(), times.begin() + 5, times.end());
  return times[5];
}

/// Datagrams of 1,000 controllers that are handled in a second while `clients` threads repeat `busy`.
double HandledPerSecond(const Setting& setting, int clients, const std::function<void(std::uint32_t)>& busy) {
  constexpr std::uint32_t kKnown = 1000;
  std::atomic<bool> stop{false};
  std::vector<std::jthread> threads;
  for (int client = 0; client < clients; ++client) {
    threads.emplace_back([&] {
      for (std::uint32_t at = 0; !stop; at = (at + 7919) % kKnown) busy(at);
    });
  }
  const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
  std::vector<std::string> datagrams;
  for (std::uint32_t i = 0; i < kKnown; ++i) datagrams.push_back(IdentityDatagram(i));
  const std::uint64_t droppedBefore = DroppedAt(kResponsePort);
  const auto begin = Clock::now();
  std::uint64_t sent = 0;
  while (Clock::now() - begin < milliseconds(2000)) sent += plant.Send(datagrams[sent % kKnown]) ? 1 : 0;
  const double seconds = Milliseconds(Clock::now() - begin) / 1e3;
  const auto handled = static_cast<double>(sent - (DroppedAt(kResponsePort) - droppedBefore));
  stop = true;
  return handled / seconds;
}

}  // namespace

void TenThousandKnown(const Setting& setting) {
  constexpr std::uint32_t kMany = 10000;
  Workstation workstation(setting.module);
  const PlantSocket plant(setting.plant, kBroadcast, kResponsePort);
  std::this_thread::sleep_for(milliseconds(200));
  const auto heapBefore = mallinfo2();
  Teach(workstation, plant, kMany);
  std::this_thread::sleep_for(milliseconds(500));
  const auto heapAfter = mallinfo2();
  Report("bytes_per_controller", static_cast<double>(heapAfter.uordblks + heapAfter.hblkhd -
                                                     heapBefore.uordblks - heapBefore.hblkhd) /
                                     kMany);

  Report("get_name_ns", GetName(workstation, kMany));
  Report("get_name_two_threads_ns", GetNameOnTwoThreads(workstation, kMany));

  Report("list_with_names_ms", ListWithNames(workstation));

  const double cpuBefore = CpuMilliseconds(RUSAGE_SELF);
  const auto idle = Clock::now();
  std::this_thread::sleep_for(milliseconds(8000));
  Report("idle_cpu_percent",
         (CpuMilliseconds(RUSAGE_SELF) - cpuBefore) / Milliseconds(Clock::now() - idle) * 100);
}

void BesideReaders(const Setting& setting) {
  {
    const BareReceiver bare(kRequestPort, kResponsePort, nullptr, BareReceiver::Loop::Batch);
    std::atomic<std::uint64_t> work{0};
    Report("sustained_bare", HandledPerSecond(setting, 4, [&](std::uint32_t at) { work += at; }));
  }
  Workstation workstation(setting.module);
  std::this_thread::sleep_for(milliseconds(100));
  Teach(workstation, PlantSocket(setting.plant, kBroadcast, kResponsePort), 1000);
  const std::uint32_t first = workstation.FirstId();
  const auto read = [&](std::uint32_t at) {
    KelBstr name;
    workstation.identity->GetCtrlName(first + at, name.Put());
  };
  Report("sustained_alone", HandledPerSecond(setting, 0, read));
  Report("sustained_readers", HandledPerSecond(setting, 4, read));
}

}  // namespace kellanseek::bench
