#include "engine/HostNames.h"

#include <chrono>
#include <new>
#include <optional>
#include <string>

#include "controllers/TextKeys.h"
#include "diagnostics/UnitNames.h"
#include "platform/CodePage.h"
#include "platform/LockOrder.h"
#include "platform/Thread.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;

/// Names are compared up to this length in bytes.
constexpr std::size_t kMaxComparedName = 100;

/// Pause between the first queued name and its look-up.
constexpr std::chrono::milliseconds kRest{200};

bool SameName(std::string_view left, std::string_view right) {
  return controllers::FoldedEquals()(platform::ToWide(left), platform::ToWide(right));
}

}  // namespace

HostNames::HostNames(CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
                     platform::Event& stopEngine, platform::DebugOutput& debugOutput)
    : table_(table),
      events_(events),
      lookup_(lookup),
      stopEngine_(stopEngine),
      failed_(diagnostics::Tracer(debugOutput, diagnostics::kDynamicInfoUnit), L"KelHostNames") {}

void HostNames::QueueHostNameLookup(std::uint32_t lanSeekID, platform::Ipv4 address) noexcept {
  try {
    Queue one{{lanSeekID, address}};
    const platform::MutexLock lock(queueLock_);
    if (byId_.try_emplace(lanSeekID, one.begin()).second) queue_.splice(queue_.end(), one);
    longestQueue_ = std::max(longestQueue_, queue_.size());
  } catch (const std::bad_alloc&) {
    return;
  }
  queued_.Set();
}

diagnostics::QueueLoad HostNames::Load() const {
  const platform::MutexLock lock(queueLock_);
  return {queue_.size(), longestQueue_};
}

void HostNames::Forget(std::uint32_t lanSeekID) {
  const platform::MutexLock lock(queueLock_);
  const auto found = byId_.find(lanSeekID);
  if (found == byId_.end()) return;
  queue_.erase(found->second);
  byId_.erase(found);
}

std::optional<HostNames::Pending> HostNames::TakeNext() {
  const platform::MutexLock lock(queueLock_);
  if (queue_.empty()) return std::nullopt;
  const Pending next = queue_.front();
  queue_.pop_front();
  byId_.erase(next.lanSeekID);
  return next;
}

void HostNames::HostNameThread() {
  while (platform::WaitForAny({&queued_, &stopEngine_}).Signalled(0)) {
    // All controllers of a plant answer at once; look-ups must not compete with handling those answers.
    if (platform::WaitForAny({&stopEngine_}, kRest).outcome != platform::WaitResult::Outcome::TimedOut)
      return;
    if (!ResolveQueued()) return;
  }
}

bool HostNames::ResolveQueued() {
  while (const std::optional<Pending> next = TakeNext()) {
    std::optional<std::string> hostName;
    platform::CheckNoLockHeld("looks up a name");
    platform::RunStep([&] { hostName = lookup_.HostName(next->address); }, failed_);
    if (stopEngine_.TryWait()) return false;
    if (hostName) platform::RunStep([&] { Store(next->lanSeekID, *hostName); }, failed_);
  }
  return true;
}

void HostNames::Store(std::uint32_t lanSeekID, const std::string& hostName) {
  CtrlTable::Access table(table_);
  const CtrlTable::Record found = table.Find(lanSeekID);
  if (!found || !found->Available()) return;
  controllers::CtrlState& record = table.Change(found);
  const std::string known = platform::ToNarrow(record.hostName.Wide()).substr(0, kMaxComparedName);
  if (!known.empty() && SameName(known, hostName)) return;
  platform::AssignText(record.hostName, hostName);
  if (record.published) events_.QueueEvent(lanSeekID, CtrlAvailable, CtrlUpdated);
}

}  // namespace kellanseek::engine
