#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "controllers/InterfaceIndex.h"
#include "platform/Ipv4.h"

namespace kellanseek::network {

/// A usable local IPv4 interface.
struct InterfaceEntry {
  std::wstring addressText;
  platform::Ipv4 address{};
  platform::Ipv4 mask{};
  platform::Ipv4 broadcastAddress{};
  std::string macText;  ///< Lower-case hexadecimal pairs joined by colons, at most kMaxMacText characters.

  /// Whether an address lies in the subnet of this interface.
  bool Contains(platform::Ipv4 other) const { return (other & mask) == (address & mask); }
};

inline constexpr std::size_t kMaxMacText = 19;

/// Identifies an interface when tables are compared: address and broadcast address.
using InterfaceKey = std::pair<platform::Ipv4, platform::Ipv4>;
inline InterfaceKey KeyOf(platform::Ipv4 address, platform::Ipv4 mask) { return {address, address | ~mask}; }

/// The interfaces of one run of the network side, in the system's order. Entries never change: a run with
/// other interfaces has another table, so threads may read theirs without a lock.
class InterfaceTable {
 public:
  InterfaceTable() = default;
  explicit InterfaceTable(std::vector<InterfaceEntry> entries) : entries_(std::move(entries)) {}

  /// The first entry with this address, if any; none for address 0.
  std::optional<controllers::InterfaceIndex> FindInterfaceByAddress(platform::Ipv4 address) const;
  /// The first entry whose subnet contains the address, if any; none for kNoAddress.
  std::optional<controllers::InterfaceIndex> FindInterfaceForAddress(platform::Ipv4 address) const;

  /// Whether an address lies in the subnet of any entry.
  bool IsNeighbour(platform::Ipv4 address) const;

  std::size_t Size() const { return entries_.size(); }
  bool Contains(controllers::InterfaceIndex interfaceIndex) const {
    return PlaceOf(interfaceIndex) < entries_.size();
  }
  const InterfaceEntry& operator[](controllers::InterfaceIndex interfaceIndex) const {
    return entries_[PlaceOf(interfaceIndex)];
  }
  const std::vector<InterfaceEntry>& Entries() const { return entries_; }
  /// The keys of all entries, sorted.
  std::vector<InterfaceKey> Keys() const;

 private:
  std::vector<InterfaceEntry> entries_;
};

}  // namespace kellanseek::network
