#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "controllers/CtrlTable.h"
#include "network/InterfaceTable.h"

namespace kellanseek::engine {

/// The interface table of the present run, and what the refresh cycle counts on each interface. Shared by all
/// threads, so every method asks for the Access that keeps the others out. The threads of a run have a table
/// of their own, which they read without it.
class RunInterfaces {
 public:
  struct Counters {
    std::int32_t refreshCountdown = 0;   ///< Ticks to the next refresh broadcast; below 0 there is none.
    std::uint32_t requestsThisTick = 0;  ///< Targeted requests sent in the current tick.
  };

  /// Takes the host's usable interfaces in the place of the present ones; all counts begin again.
  void Replace(CtrlTable::Access&, network::InterfaceTable usable, std::int32_t refreshCountdown);
  /// Goes on with those of them whose sockets could be opened.
  void Narrow(CtrlTable::Access&, network::InterfaceTable opened, std::int32_t refreshCountdown);

  const network::InterfaceTable& Table(const CtrlTable::Access&) const { return table_; }
  Counters& CountersOf(CtrlTable::Access&, std::size_t position) { return counters_[position]; }

  enum class Occasion { Notice, Time };
  /// Whether the host's usable interfaces, whose keys are given, differ from the table. An interface that was
  /// refused its sockets is missing from the table, and would count as new whenever anything happens to any
  /// other. So after a notice, nothing has changed as long as the host has the interfaces of the last look.
  bool Changed(CtrlTable::Access&, std::vector<network::InterfaceKey> usable, Occasion occasion);

 private:
  network::InterfaceTable table_;
  std::vector<Counters> counters_;                 ///< One for each entry.
  std::vector<network::InterfaceKey> lastUsable_;  ///< At the last look at the host.
};

}  // namespace kellanseek::engine
