#include "network/HostInterfaces.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "config/HostNetworks.h"
#include "diagnostics/UnitNames.h"

namespace kellanseek::network {
HostInterfaces::HostInterfaces(platform::NetworkAddresses& addresses,
                               const config::CKelLanSeekConfigSettings& settings,
                               platform::DebugOutput& debugOutput)
    : addresses_(addresses), settings_(settings), trace_(debugOutput, diagnostics::kDynamicInfoUnit) {}

template <typename Visit>
void HostInterfaces::ForEachUsable(Visit visit) const {
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

std::string HostInterfaces::MacText(const platform::InterfaceRow& row,
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

InterfaceTable HostInterfaces::SetupLanseekInterfaces() const {
  std::vector<InterfaceEntry> entries;
  ForEachUsable([&](const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow) {
    const std::wstring text = platform::FormatIpv4Wide(row.address);
    entries.push_back({text, row.address, row.mask, row.address | ~row.mask, MacText(interfaceRow, text)});
  });
  return InterfaceTable(std::move(entries));
}

std::vector<InterfaceKey> HostInterfaces::UsableKeys() const {
  std::vector<InterfaceKey> keys;
  ForEachUsable([&](const platform::AddressRow& row, const platform::InterfaceRow&) {
    keys.push_back(KeyOf(row.address, row.mask));
  });
  std::sort(keys.begin(), keys.end());
  return keys;
}

}  // namespace kellanseek::network
