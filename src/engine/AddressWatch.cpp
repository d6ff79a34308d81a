#include "engine/AddressWatch.h"

#include <chrono>
#include <utility>

#include "platform/Thread.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

/// The table is compared this often even when nothing is notified.
constexpr std::chrono::milliseconds kCheckInterval{120000};

/// Until a rebuild that ran out of memory is tried again.
constexpr std::chrono::milliseconds kAfterShortage{1000};

}  // namespace

AddressWatch::AddressWatch(network::InterfaceTable& interfaces, platform::Mutex& tableMutex,
                           const CKelLanSeekConfigSettings& settings, InterfaceChangeListener& listener,
                           WatchMaker makeWatch, platform::Event& stopWatch,
                           platform::DebugOutput& debugOutput)
    : interfaces_(interfaces),
      tableMutex_(tableMutex),
      settings_(settings),
      listener_(listener),
      makeWatch_(std::move(makeWatch)),
      stopWatch_(stopWatch),
      trace_(debugOutput, kUnit) {}

void AddressWatch::NotifyAddrChangeLoop() {
  using Outcome = platform::AddressChangeWatch::Outcome;
  // Goes with this thread, which is the one that has waited with it.
  const auto watch = std::move(watch_);
  if (!watch) {
    trace_.Error(L"Lanseek::NotifyAddrChangeLoop error create event\n");
    return;
  }
  while (settings_.DetectInterfaceChanges != 0) {
    const Outcome outcome = watch->Wait(stopWatch_, rebuildOwed_ ? kAfterShortage : kCheckInterval);
    if (outcome == Outcome::Stopped || outcome == Outcome::Failed) return;
    const Occasion occasion = outcome == Outcome::Changed ? Occasion::Notice : Occasion::Time;
    platform::RunStep([this, occasion] { Check(occasion); });
  }
}

void AddressWatch::Check(Occasion occasion) {
  // Stays owed when memory runs out on the way.
  const bool owed = std::exchange(rebuildOwed_, true);
  if (owed || interfaces_.InterfacesChanged(tableMutex_, occasion)) listener_.OnInterfacesChanged();
  rebuildOwed_ = false;
}

}  // namespace kellanseek::engine
