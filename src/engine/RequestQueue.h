#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "controllers/CtrlTable.h"
#include "network/RequestSender.h"

namespace kellanseek::engine {

/// Paces the requests, so that a burst of thousands overruns neither the network nor, through the answers,
/// our receive buffers.
class SendPacer {
 public:
  virtual ~SendPacer() = default;
  /// Called after every kSendBurst datagrams, and when the send buffer is full. Returns false if the engine
  /// is being stopped, so that the rest must not be sent.
  virtual bool Pause() = 0;
};

/// Where the requests of one run of the network side leave.
struct RequestOutlet {
  network::RequestSender& sender;
  SendPacer& pacer;
};

inline constexpr std::size_t kSendBurst = 50;

/// Token bucket for requests by address to hosts on local networks: its size, and the refill per tick. A
/// host's neighbour table holds about a thousand entries and keeps each for at least five seconds.
inline constexpr std::size_t kNeighbourBurst = 512;
inline constexpr std::size_t kNeighboursPerTick = 48;

/// Requests that are due and not yet sent. Not thread-safe.
///
/// A host holds datagrams to a neighbour until it knows the hardware address. For a neighbour that is
/// switched off, that takes seconds and then fails, and a few hundred such datagrams fill the send buffer.
/// Requests by address therefore wait here in three queues, served in this order: to controllers just added
/// by a client, which waits for them; to available controllers; to all others.
class RequestQueue {
 public:
  /// Queues a broadcast on one interface.
  void AddBroadcast(controllers::InterfaceIndex interfaceIndex, std::string datagram) {
    broadcasts_.push_back({interfaceIndex, std::move(datagram)});
  }
  /// Queues a request to a controller's own address, unless one is waiting. `datagram` must outlive it.
  void AddByAddress(const controllers::CtrlInfo& record, bool isNeighbour, std::string_view datagram);
  /// Whether a request by address to the controller is waiting.
  bool Waits(std::uint32_t lanSeekID) const { return waiting_.count(lanSeekID) > 0; }

  /// Drops the requests by address to controllers whose records have been removed.
  void DropThoseGone(controllers::CtrlTable::Access& table);

  /// Refills the token bucket for neighbours by so many ticks.
  void PassTicks(std::size_t ticks) {
    neighbourRoom_ = std::min(neighbourRoom_ + ticks * kNeighboursPerTick, kNeighbourBurst);
  }

  /// The controllers whose requests by address have been sent.
  struct Sent {
    std::vector<std::uint32_t> all;
    std::vector<std::uint32_t> late;  ///< Those whose requests had waited longer than one call.
  };
  /// Sends the permitted requests; the rest waits for the next call.
  Sent Send(const RequestOutlet& outlet);
  /// The requests by address that wait.
  std::size_t Waiting() const { return waiting_.size(); }

  /// Drops all requests. Does not refill the token bucket, because the host keeps its neighbour entries.
  void Clear();

 private:
  enum class Turn : std::uint8_t { JustAdded, Available, Missing };
  struct BroadcastRequest {
    controllers::InterfaceIndex interfaceIndex;
    std::string datagram;
  };
  struct AddressRequest {
    std::uint64_t number;  ///< Order of insertion.
    std::uint32_t lanSeekID;
    bool isNeighbour;
    platform::Ipv4 address;
    std::string_view datagram;
  };
  using AddressRequests = std::list<AddressRequest>;

  Turn TurnOf(const controllers::CtrlInfo& record) const;
  bool SendBroadcasts(const RequestOutlet& outlet);
  /// Sends from one queue what the token bucket allows. Returns false when nothing more is to be sent in this
  /// call.
  bool SendQueue(Turn turn, std::uint64_t firstNew, Sent& sent, const RequestOutlet& outlet);
  /// Returns false if the send buffer is full or the run is being stopped.
  static bool SendOne(const AddressRequest& request, const RequestOutlet& outlet);
  /// Counts a datagram and pauses after each burst. Returns false when the engine is being stopped.
  bool PauseAfterBurst(SendPacer& pacer) { return ++sent_ % kSendBurst != 0 || pacer.Pause(); }

  std::vector<BroadcastRequest> broadcasts_;
  std::array<AddressRequests, 3> byAddress_;   ///< By turn, each in the order of arrival.
  std::unordered_set<std::uint32_t> waiting_;  ///< The controllers in byAddress_.
  std::uint64_t nextNumber_ = 0;
  std::uint64_t firstNew_ = 0;  ///< Number of the first request added since the last Send().
  std::size_t sent_ = 0;        ///< In this call of Send().
  std::size_t neighbourRoom_ = kNeighbourBurst;
  std::uint32_t lastAdditionAsked_ = 0;  ///< Added controllers up to this id have been asked at least once.
};

}  // namespace kellanseek::engine
