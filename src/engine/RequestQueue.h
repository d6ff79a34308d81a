#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/multi_index/composite_key.hpp>
#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index_container.hpp>

#include "controllers/CtrlTable.h"
#include "network/RequestSender.h"

namespace kellanseek::engine {

/// Lets a long series of sends breathe, so that thousands of requests by address neither overrun a network
/// nor their answers a socket.
class SendPacer {
 public:
  virtual ~SendPacer() = default;
  /// Called after every kSendBurst datagrams, and when the network takes no more; false when the rest is not
  /// to be sent any more.
  virtual bool Pause() = 0;
};

inline constexpr std::size_t kSendBurst = 50;

/// Requests by address to hosts on the local networks: so many at once, and so many more with every tick. A
/// host keeps an entry for each such neighbour, about a thousand in all, and gives up none that is younger
/// than five seconds.
inline constexpr std::size_t kNeighbourBurst = 512;
inline constexpr std::size_t kNeighboursPerTick = 48;

/// The requests to single controllers that have been decided on and are still to be sent. For one thread.
///
/// A host holds what it sends to a neighbour until it knows the hardware address, which for one that is
/// switched off takes seconds and then fails; a few hundred of those leave no room for others. Requests by
/// address therefore wait here: those to controllers that a client has just added and is waiting for go
/// first, then those to controllers that are there.
class RequestQueue {
 public:
  RequestQueue(network::RequestSender& sender, SendPacer& pacer) : sender_(sender), pacer_(pacer) {}

  /// A request for the interface at that position.
  void AddBroadcast(std::size_t position, std::string datagram) {
    broadcasts_.push_back({position, std::move(datagram)});
  }
  /// A request for a controller's own address, unless one waits already; `datagram` outlives the queue.
  void AddByAddress(const CtrlInfo& record, bool isNeighbour, std::string_view datagram);
  /// Whether a request by address for that controller waits.
  bool Waits(std::uint32_t lanSeekID) const { return byAddress_.get<ById>().count(lanSeekID) > 0; }

  /// Drops the requests by address for controllers whose records are gone.
  void DropThoseGone(CtrlTable::Access& table);

  /// A tick has passed, which makes room for more requests to neighbours.
  void NextTick() { neighbourRoom_ = std::min(neighbourRoom_ + kNeighboursPerTick, kNeighbourBurst); }

  /// Sends what may be sent now; the rest waits for the next call. Gives the controllers whose requests have
  /// waited for more than one call and are sent now.
  std::vector<std::uint32_t> Send();

  /// Forgets what waits. The host still has its neighbours, so the room for more stays as it is.
  void Clear();

 private:
  enum class Turn : std::uint8_t { JustAdded, Available, Missing };
  struct BroadcastRequest {
    std::size_t position = 0;
    std::string datagram;
  };
  struct AddressRequest {
    Turn turn = Turn::Missing;
    std::uint64_t number = 0;  ///< Counts up.
    std::uint32_t lanSeekID = 0;
    bool isNeighbour = false;
    std::wstring address;
    std::string_view datagram;
  };
  struct InTurn {};
  struct ById {};
  template <typename Value, Value AddressRequest::*Field>
  using Member = boost::multi_index::member<AddressRequest, Value, Field>;
  using AddressRequests = boost::multi_index_container<
      AddressRequest,
      boost::multi_index::indexed_by<
          boost::multi_index::ordered_unique<
              boost::multi_index::tag<InTurn>,
              boost::multi_index::composite_key<AddressRequest, Member<Turn, &AddressRequest::turn>,
                                                Member<std::uint64_t, &AddressRequest::number>>>,
          boost::multi_index::hashed_unique<boost::multi_index::tag<ById>,
                                            Member<std::uint32_t, &AddressRequest::lanSeekID>>>>;

  Turn TurnOf(const CtrlInfo& record) const;
  bool SendBroadcasts();
  std::vector<std::uint32_t> SendByAddress();
  /// False when the network does not take it, or the rest is not to be sent.
  bool SendOne(const AddressRequest& request);
  bool Breathe() { return ++sent_ % kSendBurst != 0 || pacer_.Pause(); }

  network::RequestSender& sender_;
  SendPacer& pacer_;
  std::vector<BroadcastRequest> broadcasts_;
  AddressRequests byAddress_;
  std::uint64_t nextNumber_ = 0;
  std::uint64_t firstNew_ = 0;  ///< Number of the first request that no call of Send() has seen.
  std::size_t sent_ = 0;        ///< By the present call of Send().
  std::size_t neighbourRoom_ = kNeighbourBurst;
  std::uint32_t lastAdditionAsked_ = 0;  ///< The client's additions up to this id have been asked once.
};

}  // namespace kellanseek::engine
