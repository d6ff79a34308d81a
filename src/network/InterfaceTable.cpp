#include "network/InterfaceTable.h"

#include <algorithm>
#include <array>
#include <utility>

#include "config/HostNetworks.h"

namespace kellanseek::network {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

std::pair<platform::Ipv4, platform::Ipv4> KeyOf(platform::Ipv4 address, platform::Ipv4 mask) {
  return {address, address | ~mask};
}

}  // namespace

InterfaceTable::InterfaceTable(platform::NetworkAddresses& addresses,
                               const CKelLanSeekConfigSettings& settings, platform::DebugOutput& debugOutput)
    : addresses_(addresses), settings_(settings), trace_(debugOutput, kUnit) {}

template <typename Visit>
void InterfaceTable::ForEachUsable(Visit visit) const {
  const auto rows = addresses_.Addresses();
  if (!rows) {
    trace_.Error(L"LanSeek: GetIpAddrTable failed, could not get available IP-addresses!");
    return;
  }
  for (const platform::AddressRow& row : *rows) {
    const auto interfaceRow = addresses_.Interface(row.interfaceIndex);
    if (!interfaceRow) {
      trace_.Error(L"LanSeek: Could not get interface info!");
      continue;
    }
    const bool takesPart = config::Usable(row, *interfaceRow) && settings_.Selects(row.address, row.mask);
    if (takesPart) visit(row, *interfaceRow);
  }
}

std::string InterfaceTable::MacText(const platform::InterfaceRow& row,
                                    const std::wstring& addressText) const {
  constexpr std::size_t kMacBytes = 6;
  if (row.physicalAddressLength != kMacBytes) {
    trace_.Error(L"LanSeek SetupLanseekInterfaces. Strange MAC-address for interface %s", addressText);
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::size_t bytes =
      std::min(std::max(row.physicalAddressLength, kMacBytes), row.physicalAddress.size());
  std::string text;
  for (std::size_t i = 0; i < bytes && text.size() + 3 <= kMaxMacText; ++i) {
    if (i > 0) text.push_back(':');
    text.push_back(kDigits[row.physicalAddress[i] >> 4]);
    text.push_back(kDigits[row.physicalAddress[i] & 0xF]);
  }
  return text;
}

std::vector<InterfaceEntry> InterfaceTable::SetupLanseekInterfaces() const {
  std::vector<InterfaceEntry> entries;
  ForEachUsable([&](const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow) {
    InterfaceEntry entry;
    entry.addressText = platform::FormatIpv4Wide(row.address);
    entry.maskText = platform::FormatIpv4Wide(row.mask);
    entry.address = row.address;
    entry.mask = row.mask;
    entry.broadcastAddress = row.address | ~row.mask;
    entry.macText = MacText(interfaceRow, entry.addressText);
    entry.refreshCountdown = settings_.RefreshIntervalTicks();
    entries.push_back(std::move(entry));
  });
  return entries;
}

void InterfaceTable::Replace(std::vector<InterfaceEntry> entries) {
  std::vector<Key> usable;
  usable.reserve(entries.size());
  for (const InterfaceEntry& entry : entries) usable.push_back(KeyOf(entry.address, entry.mask));
  std::sort(usable.begin(), usable.end());
  entries_ = std::move(entries);
  lastUsable_ = std::move(usable);
}

void InterfaceTable::Remove(std::size_t position) {
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
}

bool InterfaceTable::InterfacesChanged(platform::Mutex& tableMutex, Occasion occasion) {
  std::vector<Key> usable;
  ForEachUsable([&](const platform::AddressRow& row, const platform::InterfaceRow&) {
    usable.push_back(KeyOf(row.address, row.mask));
  });
  std::sort(usable.begin(), usable.end());
  const platform::MutexLock lock(tableMutex);
  if (occasion == Occasion::Notice && usable == lastUsable_) return false;
  lastUsable_ = std::move(usable);
  if (lastUsable_.size() != entries_.size()) return true;
  return std::any_of(entries_.begin(), entries_.end(), [&](const InterfaceEntry& entry) {
    return !std::binary_search(lastUsable_.begin(), lastUsable_.end(), KeyOf(entry.address, entry.mask));
  });
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

std::int32_t InterfaceTable::FindInterfaceForAddress(const std::wstring& text) const {
  const platform::Ipv4 address = platform::ParseIpv4(std::wstring_view(text));
  if (text.empty() || address == platform::kNoAddress) return -1;
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const InterfaceEntry& entry) {
    return entry.mask != platform::kNoAddress && entry.address != platform::kNoAddress &&
           entry.Contains(address);
  });
  return found == entries_.end() ? -1 : static_cast<std::int32_t>(found - entries_.begin());
}

}  // namespace kellanseek::network
