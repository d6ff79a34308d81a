#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "diagnostics/Counters.h"
#include "platform/Clock.h"
#include "platform/Ipv4.h"
#include "platform/Mutex.h"

namespace kellanseek::diagnostics {

/// What a component object remembers about its own work, for its report: counters, and the few facts that
/// explain why a controller is missing. Bounded, and thread-safe. Its lock is the innermost of all.
class Journal {
 public:
  /// Monotonic milliseconds. A moment of 0 means "never".
  using Clock = std::uint64_t (*)();

  explicit Journal(Clock clock = &platform::MonotonicMilliseconds) : clock_(clock), start_(clock()) {}

  std::uint64_t Now() const { return clock_(); }
  std::uint64_t Start() const { return start_; }

  Counters counters;

  struct ThreadState {
    std::string name;
    std::string failure;  ///< Why the system refused to start it; empty if it did start.
  };
  void ThreadStarted(const std::string& name, const std::string& failure);

  /// An interface, or polling by address for address 0, whose sockets the system refused.
  struct RefusedSocket {
    platform::Ipv4 address{};
    std::uint16_t port{};
    const char* step = "";  ///< "create", "option" or "bind".
    int error{};            ///< The system's code.
  };
  /// Forgets the refusals of the last run.
  void SocketsWanted();
  void SocketRefused(const RefusedSocket& refused);

  struct SendError {
    std::uint64_t count{};
    platform::Ipv4 lastDestination{};
    std::uint64_t last{};  ///< When.
  };
  void SendFailed(int error, platform::Ipv4 destination);

  /// Keeps the beginning of the last datagram that was no message.
  void Malformed(std::string_view datagram, platform::Ipv4 source);

  struct Party {
    std::uint32_t lanSeekID{};  ///< 0 for the controller that has no record.
    std::wstring name;
    std::wstring address;
    std::wstring systemID;
    std::wstring macAddress;
  };
  struct Collision {
    std::uint64_t when{};
    const char* kind = "";  ///< "address", "identity" or "virtual".
    Party known;
    Party heard;
  };
  static constexpr std::size_t kMaxCollisions = 32;
  void Collided(Collision collision);

  /// The moment of the last datagram that arrived through the interface with this address. The receiver keeps
  /// the reference and writes to it without a lock; it stays valid as long as the journal.
  std::atomic<std::uint64_t>& LastHeard(platform::Ipv4 interfaceAddress);

  /// A copy of everything but the counters.
  struct Content {
    std::vector<ThreadState> threads;
    std::vector<RefusedSocket> refusedSockets;
    std::map<int, SendError> sendErrors;
    std::string lastMalformed;  ///< Any bytes.
    platform::Ipv4 lastMalformedFrom{};
    std::deque<Collision> collisions;  ///< The oldest first.
    std::map<platform::Ipv4, std::uint64_t> lastHeard;
  };
  Content Copy() const;

 private:
  const Clock clock_;
  const std::uint64_t start_;
  mutable platform::Mutex lock_{platform::LockOrder::Journal};
  Content content_ GUARDED_BY(lock_);
  std::map<platform::Ipv4, std::atomic<std::uint64_t>> lastHeard_ GUARDED_BY(lock_);
};

}  // namespace kellanseek::diagnostics
