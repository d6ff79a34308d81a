#include "engine/HostNames.h"

#include <chrono>
#include <optional>
#include <string>

#include "controllers/TextKeys.h"
#include "platform/CodePage.h"
#include "platform/Thread.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

/// Names are compared by at most this many bytes.
constexpr std::size_t kMaxComparedName = 100;

/// Between the first name asked for and the first look-up.
constexpr std::chrono::milliseconds kRest{200};

bool SameName(std::string_view left, std::string_view right) {
  return FoldedEquals()(platform::ToWide(left), platform::ToWide(right));
}

}  // namespace

HostNames::HostNames(CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
                     platform::Event& stopEngine, platform::DebugOutput& debugOutput)
    : table_(table),
      events_(events),
      lookup_(lookup),
      stopEngine_(stopEngine),
      failed_(diagnostics::Tracer(debugOutput, kUnit), L"KelHostNames") {}

void HostNames::QueueHostNameLookup(std::uint32_t lanSeekID, const std::wstring& address) {
  {
    const platform::MutexLock lock(queueLock_);
    queue_.push_back({lanSeekID, address});
  }
  queued_.Set();
}

void HostNames::Forget(std::uint32_t lanSeekID) {
  const platform::MutexLock lock(queueLock_);
  queue_.get<ById>().erase(lanSeekID);
}

bool HostNames::TakeNext(Pending& next) {
  const platform::MutexLock lock(queueLock_);
  if (queue_.empty()) return false;
  next = queue_.front();
  queue_.pop_front();
  return true;
}

void HostNames::HostNameThread() {
  while (platform::WaitForAny({&queued_, &stopEngine_}).Signalled(0)) {
    // A plant answers all at once: its answers are taken in first.
    if (platform::WaitForAny({&stopEngine_}, kRest).outcome != platform::WaitResult::Outcome::TimedOut)
      return;
    if (!ResolveQueued()) return;
  }
}

bool HostNames::ResolveQueued() {
  for (;;) {
    Pending next;
    bool taken = false;
    std::optional<std::string> hostName;
    const auto lookUp = [&] {
      taken = TakeNext(next);
      if (taken) hostName = lookup_.HostName(platform::ParseIpv4(std::wstring_view(next.address)));
    };
    const bool done = platform::RunStep(lookUp, failed_);
    if (!taken) return true;  // What could not be taken for lack of memory waits for the next that is queued.
    if (stopEngine_.TryWait()) return false;
    if (done && hostName) platform::RunStep([&] { Store(next.lanSeekID, *hostName); }, failed_);
  }
}

void HostNames::Store(std::uint32_t lanSeekID, const std::string& hostName) {
  CtrlTable::Access table(table_);
  const CtrlTable::Record found = table.Find(lanSeekID);
  if (!found || !found->Available()) return;
  CtrlState& record = table.Change(found);
  const std::string known = platform::ToNarrow(record.hostName).substr(0, kMaxComparedName);
  if (!known.empty() && SameName(known, hostName)) return;
  record.hostName = platform::ToWide(hostName);
  if (record.published) events_.QueueEvent(lanSeekID, CtrlAvailable, CtrlUpdated);
}

}  // namespace kellanseek::engine
