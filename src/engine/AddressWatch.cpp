#include "engine/AddressWatch.h"

#include <chrono>
#include <utility>
#include <vector>

#include "diagnostics/UnitNames.h"
#include "platform/Thread.h"

namespace kellanseek::engine {
namespace {

/// Interval of comparisons without a notice.
constexpr std::chrono::milliseconds kCheckInterval{120000};

/// Pause before a failed rebuild or wait is repeated.
constexpr std::chrono::milliseconds kAfterFailure{1000};

}  // namespace

AddressWatch::AddressWatch(const network::HostInterfaces& host, controllers::CtrlTable& table,
                           RunInterfaces& interfaces, const config::CKelLanSeekConfigSettings& settings,
                           InterfaceChangeListener& listener, WatchMaker makeWatch,
                           platform::Event& stopWatch, platform::Event& rebuildWanted,
                           platform::DebugOutput& debugOutput)
    : host_(host),
      table_(table),
      interfaces_(interfaces),
      settings_(settings),
      listener_(listener),
      makeWatch_(std::move(makeWatch)),
      stopWatch_(stopWatch),
      rebuildWanted_(rebuildWanted),
      trace_(debugOutput, diagnostics::kDynamicInfoUnit),
      failed_(trace_, L"KelAddrWatch") {}

void AddressWatch::Begin() {
  platform::RunStep([this] { watch_ = makeWatch_(); }, failed_);
}

void AddressWatch::NotifyAddrChangeLoop() {
  // Destroyed on this thread, which is the one that waits with it.
  const auto watch = std::move(watch_);
  if (!watch) {
    trace_.Error(L"Lanseek::NotifyAddrChangeLoop error create event\n");
    return;
  }
  while (settings_.DetectInterfaceChanges != 0) {
    const Outcome outcome = WaitWith(*watch);
    if (outcome == Outcome::Stopped || outcome == Outcome::Failed) return;
    if (outcome == Outcome::Woken) rebuildOwed_ = true;
    const Occasion occasion = outcome == Outcome::Changed ? Occasion::Notice : Occasion::Time;
    platform::RunStep([this, occasion] { Check(occasion); }, failed_);
  }
}

AddressWatch::Outcome AddressWatch::WaitWith(platform::AddressChangeWatch& watch) {
  Outcome outcome = Outcome::TimedOut;
  const auto wait = [&] {
    outcome = watch.Wait(stopWatch_, rebuildWanted_, rebuildOwed_ ? kAfterFailure : kCheckInterval);
  };
  while (!platform::RunStep(wait, failed_)) {
    if (platform::WaitForAny({&stopWatch_}, kAfterFailure).Signalled(0)) return Outcome::Stopped;
  }
  return outcome;
}

void AddressWatch::Check(Occasion occasion) {
  // Stays set if the rebuild fails, so that the next check repeats it.
  const bool owed = std::exchange(rebuildOwed_, true);
  if (owed || InterfacesChanged(occasion)) listener_.OnInterfacesChanged();
  rebuildOwed_ = false;
}

bool AddressWatch::InterfacesChanged(Occasion occasion) {
  std::vector<network::InterfaceKey> usable = host_.UsableKeys();
  controllers::CtrlTable::Access table(table_);
  return interfaces_.Changed(table, std::move(usable), occasion);
}

}  // namespace kellanseek::engine
