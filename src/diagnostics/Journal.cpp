#include "diagnostics/Journal.h"

#include <algorithm>
#include <utility>

namespace kellanseek::diagnostics {
namespace {

constexpr std::size_t kMaxExample = 200;
/// A system has a few dozen codes for failed sends; the limit only guards against one that invents them.
constexpr std::size_t kMaxErrorCodes = 64;
constexpr std::size_t kMaxAddresses = 1024;

}  // namespace

void Journal::ThreadStarted(const std::string& name, const std::string& failure) {
  const platform::MutexLock lock(lock_);
  const auto same = [&](const ThreadState& thread) { return thread.name == name; };
  const auto found = std::find_if(content_.threads.begin(), content_.threads.end(), same);
  if (found == content_.threads.end()) {
    content_.threads.push_back({name, failure});
  } else {
    found->failure = failure;
  }
}

void Journal::SocketsWanted() {
  const platform::MutexLock lock(lock_);
  content_.refusedSockets.clear();
}

void Journal::SocketRefused(const RefusedSocket& refused) {
  const platform::MutexLock lock(lock_);
  content_.refusedSockets.push_back(refused);
}

void Journal::SendFailed(int error, platform::Ipv4 destination) {
  counters.sendErrors.Add();
  const std::uint64_t now = Now();
  const platform::MutexLock lock(lock_);
  if (content_.sendErrors.size() >= kMaxErrorCodes && content_.sendErrors.count(error) == 0) return;
  SendError& entry = content_.sendErrors[error];
  ++entry.count;
  entry.lastDestination = destination;
  entry.last = now;
}

void Journal::Malformed(std::string_view datagram, platform::Ipv4 source) {
  counters.malformed.Add();
  const platform::MutexLock lock(lock_);
  content_.lastMalformed.assign(datagram.substr(0, kMaxExample));
  content_.lastMalformedFrom = source;
}

void Journal::Collided(Collision collision) {
  collision.when = Now();
  const platform::MutexLock lock(lock_);
  if (content_.collisions.size() >= kMaxCollisions) content_.collisions.pop_front();
  content_.collisions.push_back(std::move(collision));
}

std::atomic<std::uint64_t>& Journal::LastHeard(platform::Ipv4 interfaceAddress) {
  const platform::MutexLock lock(lock_);
  // The cells must stay where they are, so a host whose addresses keep changing runs out of them.
  const bool isFull = lastHeard_.size() >= kMaxAddresses && lastHeard_.count(interfaceAddress) == 0;
  return lastHeard_[isFull ? 0 : interfaceAddress];
}

Journal::Content Journal::Copy() const {
  const platform::MutexLock lock(lock_);
  Content copy = content_;
  for (const auto& [address, moment] : lastHeard_) copy.lastHeard[address] = moment.load();
  return copy;
}

}  // namespace kellanseek::diagnostics
