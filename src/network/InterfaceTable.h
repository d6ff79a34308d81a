#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/Ipv4.h"

namespace kellanseek::network {

/// A usable local IPv4 interface.
struct InterfaceEntry {
  std::wstring addressText;
  platform::Ipv4 address = 0;
  platform::Ipv4 mask = 0;
  platform::Ipv4 broadcastAddress = 0;
  std::string macText;  ///< Lower-case hexadecimal pairs joined by colons, at most kMaxMacText characters.

  /// Whether an address lies in the subnet of this interface.
  bool Contains(platform::Ipv4 other) const { return (other & mask) == (address & mask); }
};

inline constexpr std::size_t kMaxMacText = 19;

/// Identifies an interface when tables are compared: address and broadcast address.
using InterfaceKey = std::pair<platform::Ipv4, platform::Ipv4>;
inline InterfaceKey KeyOf(platform::Ipv4 address, platform::Ipv4 mask) { return {address, address | ~mask}; }

/// The interfaces of one run of the network side, in the system's order. A position is an index into the
/// table. Entries never change: a run with other interfaces has another table, so threads may read theirs
/// without a lock.
class InterfaceTable {
 public:
  InterfaceTable() = default;
  explicit InterfaceTable(std::vector<InterfaceEntry> entries) : entries_(std::move(entries)) {}

  /// The first entry with this address; -1 if there is none, and for address 0.
  std::int32_t FindInterfaceByAddress(platform::Ipv4 address) const;
  /// The first entry whose subnet contains the address; -1 if there is none, and for kNoAddress.
  std::int32_t FindInterfaceForAddress(platform::Ipv4 address) const;

  /// Whether an address lies in the subnet of any entry.
  bool IsNeighbour(platform::Ipv4 address) const;

  std::size_t Size() const { return entries_.size(); }
  bool Contains(std::int32_t position) const {
    return position >= 0 && static_cast<std::size_t>(position) < entries_.size();
  }
  const InterfaceEntry& operator[](std::size_t position) const { return entries_[position]; }
  const std::vector<InterfaceEntry>& Entries() const { return entries_; }
  /// The keys of all entries, sorted.
  std::vector<InterfaceKey> Keys() const;

 private:
  std::vector<InterfaceEntry> entries_;
};

}  // namespace kellanseek::network
