#include "network/InterfaceTable.h"

#include <algorithm>
#include <cstdint>

namespace kellanseek::network {
namespace {

using controllers::InterfaceIndex;

template <typename Predicate>
std::optional<InterfaceIndex> FindFirst(const std::vector<InterfaceEntry>& entries,
                                        const Predicate& predicate) {
  const auto found = std::find_if(entries.begin(), entries.end(), predicate);
  if (found == entries.end()) return std::nullopt;
  return InterfaceIndex{static_cast<std::uint32_t>(found - entries.begin())};
}

}  // namespace

std::vector<InterfaceKey> InterfaceTable::Keys() const {
  std::vector<InterfaceKey> keys;
  for (const InterfaceEntry& entry : entries_) keys.push_back(KeyOf(entry.address, entry.mask));
  std::sort(keys.begin(), keys.end());
  return keys;
}

std::optional<InterfaceIndex> InterfaceTable::FindInterfaceByAddress(platform::Ipv4 address) const {
  if (address == 0) return std::nullopt;
  return FindFirst(entries_, [&](const InterfaceEntry& entry) { return entry.address == address; });
}

bool InterfaceTable::IsNeighbour(platform::Ipv4 address) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [&](const InterfaceEntry& entry) { return entry.Contains(address); });
}

std::optional<InterfaceIndex> InterfaceTable::FindInterfaceForAddress(platform::Ipv4 address) const {
  if (address == platform::kNoAddress) return std::nullopt;
  return FindFirst(entries_, [&](const InterfaceEntry& entry) {
    return entry.mask != platform::kNoAddress && entry.address != platform::kNoAddress &&
           entry.Contains(address);
  });
}

}  // namespace kellanseek::network
