#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kellanseek::diagnostics {

/// Counts events of one kind. Thread-safe, and cheap enough for every datagram: no order is kept between
/// counters, so a reader may see one event in one of them and not yet in another.
class Counter {
 public:
  void Add(std::uint64_t number = 1) { value_.fetch_add(number, std::memory_order_relaxed); }
  std::uint64_t Value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> value_{0};
};

/// The highest value reached. Thread-safe.
class Peak {
 public:
  void Reach(std::uint64_t value) {
    std::uint64_t highest = Value();
    while (value > highest && !value_.compare_exchange_weak(highest, value, std::memory_order_relaxed)) {
    }
  }
  std::uint64_t Value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> value_{0};
};

/// Follows counters that start at zero again from time to time, such as those of sockets that are closed and
/// opened anew. For one writer.
class RestartingCounter {
 public:
  void Update(std::uint64_t current) {
    total_.Add(current >= last_ ? current - last_ : current);
    last_ = current;
  }
  std::uint64_t Value() const { return total_.Value(); }

 private:
  Counter total_;
  std::uint64_t last_ = 0;
};

/// What one component object has received, dropped and sent since its creation.
struct Counters {
  static constexpr std::size_t kMessageTypes = 9;  ///< Types 1 to 8; index 0 counts all others.
  static constexpr std::size_t kSources = 4;       ///< In the order of engine::MsgSource.

  std::array<Counter, kSources> received;  ///< Datagrams and forwarded messages by source, before any check.
  std::array<Counter, kMessageTypes> accepted;  ///< Messages that were handled, by type.

  Counter ownDatagrams;               ///< Sent by this host, heard by itself.
  Counter otherSubnet;                ///< Heard on an interface other than that of the sender's subnet.
  Counter malformed;                  ///< No discovery message.
  Counter lengthMismatch;             ///< The stated length is not the received one.
  Counter colliding;                  ///< Refused by the collision rules.
  Counter tableFull;                  ///< From an unknown controller for which there was no room.
  Counter readErrors;                 ///< The system reported an error in place of a datagram.
  Counter failedSteps;                ///< Handling ended with an exception.
  RestartingCounter droppedBySystem;  ///< Because a receive buffer was full.

  Counter broadcastRequests;
  Counter requestsByAddress;
  Counter answers;  ///< For published virtual controllers.
  Counter sendErrors;

  Peak tickDelay;        ///< Milliseconds that a tick came late.
  Peak waitingRequests;  ///< Requests by address that waited for their turn.
};

}  // namespace kellanseek::diagnostics
