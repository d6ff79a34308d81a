#include "engine/HostNames.h"

#include <chrono>

#include "platform/CodePage.h"
#include "platform/Thread.h"

namespace kellanseek::engine {
namespace {

/// Names are compared by at most this many bytes.
constexpr std::size_t kMaxComparedName = 100;

/// Between the first name asked for and the first look-up.
constexpr std::chrono::milliseconds kRest{200};

bool SameName(std::string_view left, std::string_view right) {
  return FoldedEquals()(platform::ToWide(left), platform::ToWide(right));
}

}  // namespace

HostNames::HostNames(CtrlTable& table, events::EventQueue& events, platform::ReverseLookup& lookup,
                     platform::Event& stopEngine)
    : table_(table), events_(events), lookup_(lookup), stopEngine_(stopEngine) {}

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
  Pending next;
  while (TakeNext(next)) {
    const platform::Ipv4 address = platform::ParseIpv4(std::wstring_view(next.address));
    const auto hostName = lookup_.HostName(address);
    if (stopEngine_.TryWait()) return false;
    if (hostName) platform::RunStep([&] { Store(next.lanSeekID, *hostName); });
  }
  return true;
}

void HostNames::Store(std::uint32_t lanSeekID, const std::string& hostName) {
  const CtrlTable::Lock lock(table_);
  const auto found = table_.Find(lanSeekID);
  if (found == table_.end() || !found->Available()) return;
  CtrlInfo& record = table_.Edit(found);
  const std::string known = platform::ToNarrow(record.hostName).substr(0, kMaxComparedName);
  if (!known.empty() && SameName(known, hostName)) return;
  record.hostName = platform::ToWide(hostName);
  if (record.published) events_.QueueEvent(lanSeekID, CtrlAvailable, CtrlUpdated);
}

}  // namespace kellanseek::engine
