#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "config/Settings.h"
#include "diagnostics/Trace.h"
#include "platform/Ipv4.h"
#include "platform/Mutex.h"
#include "platform/NetworkAddresses.h"
#include "platform/UdpSocket.h"

namespace kellanseek::network {

/// One usable local IPv4 interface.
struct InterfaceEntry {
  std::wstring addressText;
  std::wstring maskText;
  platform::Ipv4 address = 0;
  platform::Ipv4 mask = 0;
  platform::Ipv4 broadcastAddress = 0;
  std::string macText;  ///< Lower-case hexadecimal pairs joined by colons, at most kMaxMacText characters.
  std::unique_ptr<platform::UdpSocket> responseSocket;  ///< Sends requests, receives answers. May be none.
  std::unique_ptr<platform::UdpSocket>
      requestSocket;                   ///< Receives other workstations' requests. May be none.
  std::int32_t refreshCountdown = 0;   ///< Ticks to the next refresh broadcast.
  std::uint32_t requestsThisTick = 0;  ///< Targeted requests sent in the current tick.

  /// Whether an address lies in this interface's subnet.
  bool Contains(platform::Ipv4 other) const { return (other & mask) == (address & mask); }
};

inline constexpr std::size_t kMaxMacText = 19;

/// The interfaces that take part, in the order in which the system gave them; a position is an index.
///
/// Entries come and go only with the controller table's lock held, and only while the receiver, the daemon
/// and the ticks of the refresh thread stand still. So whoever holds that lock, and those three while the
/// network side runs, may read the table; countdowns and counters are read and written with the lock held.
class InterfaceTable {
 public:
  InterfaceTable(platform::NetworkAddresses& addresses, const CKelLanSeekConfigSettings& settings,
                 platform::DebugOutput& debugOutput);

  /// The entries for the host's usable interfaces as they are now. Asks the system, so no lock should be
  /// held.
  std::vector<InterfaceEntry> SetupLanseekInterfaces() const;
  /// Puts entries in the place of the present ones, whose sockets are closed.
  void Replace(std::vector<InterfaceEntry> entries);
  /// Removes an entry and closes its sockets.
  void Remove(std::size_t position);

  enum class Occasion { Notice, Time };
  /// Whether the usable interfaces, as (address, broadcast address), differ from the table. After a notice
  /// they do not as long as they are those of the last look: an interface without sockets is missing from the
  /// table, and would count as new whenever anything happens to any other. The table is read with
  /// `tableMutex` held, the system is asked without it.
  bool InterfacesChanged(platform::Mutex& tableMutex, Occasion occasion) EXCLUDES(tableMutex);

  /// First entry with that address; -1 for none and for address 0.
  std::int32_t FindInterfaceByAddress(platform::Ipv4 address) const;
  /// First entry whose subnet contains the dotted address; -1 for none and for a text that is no address.
  std::int32_t FindInterfaceForAddress(const std::wstring& address) const;

  /// Whether an address lies in the subnet of any entry.
  bool IsNeighbour(platform::Ipv4 address) const;

  std::size_t Size() const { return entries_.size(); }
  bool Contains(std::int32_t position) const {
    return position >= 0 && static_cast<std::size_t>(position) < entries_.size();
  }
  InterfaceEntry& operator[](std::size_t position) { return entries_[position]; }
  const InterfaceEntry& operator[](std::size_t position) const { return entries_[position]; }

 private:
  /// How an entry of the selection and one of the table are told apart: address and broadcast address.
  using Key = std::pair<platform::Ipv4, platform::Ipv4>;

  template <typename Visit>
  void ForEachUsable(Visit visit) const;
  std::string MacText(const platform::InterfaceRow& row, const std::wstring& addressText) const;

  platform::NetworkAddresses& addresses_;
  const CKelLanSeekConfigSettings& settings_;
  diagnostics::Tracer trace_;
  std::vector<InterfaceEntry> entries_;
  std::vector<Key> lastUsable_;  ///< At the last look; sorted. Guarded as the entries are.
};

}  // namespace kellanseek::network
