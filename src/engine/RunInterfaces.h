#pragma once

#include <cstdint>
#include <vector>

#include "controllers/CtrlTable.h"
#include "network/InterfaceTable.h"

namespace kellanseek::engine {

/// The interface table of the present run, and the refresh cycle's counters for each interface. Shared by all
/// threads, so every method requires an Access. The threads of a run have a copy of the table, which they
/// read without one.
class RunInterfaces {
 public:
  struct Counters {
    std::int32_t refreshCountdown = 0;   ///< Ticks to the next refresh broadcast; negative if there is none.
    std::uint32_t requestsThisTick = 0;  ///< Targeted requests sent in the current tick.
    bool askedSinceTick = false;         ///< A full or refresh request has been sent, by whomever.
  };

  /// Replaces the interfaces by the host's usable ones and resets all counters.
  void Replace(controllers::CtrlTable::Access&, network::InterfaceTable usable,
               std::int32_t refreshCountdown);
  /// Keeps only the interfaces whose sockets were opened.
  void Narrow(controllers::CtrlTable::Access&, network::InterfaceTable opened, std::int32_t refreshCountdown);

  const network::InterfaceTable& Table(const controllers::CtrlTable::Access&) const { return table_; }
  Counters& CountersOf(controllers::CtrlTable::Access&, controllers::InterfaceIndex interfaceIndex) {
    return counters_[PlaceOf(interfaceIndex)];
  }
  std::vector<Counters>& AllCounters(controllers::CtrlTable::Access&) { return counters_; }

  enum class Occasion { Notice, Time };
  /// Whether the host's usable interfaces, given by their keys, differ from the table. After a notice,
  /// returns false if they are the same as at the last call: an interface whose sockets were refused is
  /// missing from the table, so every notice about any other interface would count as a difference.
  bool Changed(controllers::CtrlTable::Access&, std::vector<network::InterfaceKey> usable, Occasion occasion);

 private:
  network::InterfaceTable table_;
  std::vector<Counters> counters_;                 ///< One for each entry.
  std::vector<network::InterfaceKey> lastUsable_;  ///< The keys at the last call.
};

}  // namespace kellanseek::engine
