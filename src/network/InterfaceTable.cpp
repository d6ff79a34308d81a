#include "network/InterfaceTable.h"

#include <algorithm>

namespace kellanseek::network {

std::vector<InterfaceKey> InterfaceTable::Keys() const {
  std::vector<InterfaceKey> keys;
  keys.reserve(entries_.size());
  for (const InterfaceEntry& entry : entries_) keys.push_back(KeyOf(entry.address, entry.mask));
  std::sort(keys.begin(), keys.end());
  return keys;
}

std::int32_t InterfaceTable::FindInterfaceByAddress(platform::Ipv4 address) const {
  if (address == 0) return -1;
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const InterfaceEntry& entry) { return entry.address == address; });
  return found == entries_.end() ? -1 : static_cast<std::int32_t>(found - entries_.begin());
}

bool InterfaceTable::IsNeighbour(platform::Ipv4 address) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const InterfaceEntry& entry) { return entry.Contains(address); });
}

std::int32_t InterfaceTable::FindInterfaceForAddress(platform::Ipv4 address) const {
  if (address == platform::kNoAddress) return -1;
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const InterfaceEntry& entry) {
    return entry.mask != platform::kNoAddress && entry.address != platform::kNoAddress &&
           entry.Contains(address);
  });
  return found == entries_.end() ? -1 : static_cast<std::int32_t>(found - entries_.begin());
}

}  // namespace kellanseek::network
