#include "config/HostNetworks.h"

namespace kellanseek::config {

Fitness FitnessOf(const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow) {
  if (interfaceRow.adminStatus != platform::kInterfaceUp) return Fitness::InterfaceDown;
  if (interfaceRow.type == platform::kLoopbackInterface) return Fitness::Loopback;
  // Addresses are in network byte order, so on a little-endian host the constant is 1.0.0.127, not 127.0.0.1.
  // The loopback interface is excluded by its type.
  constexpr platform::Ipv4 kExcluded = 0x7F000001;
  const bool stated = row.address != 0 && row.address != platform::kNoAddress && row.address != kExcluded;
  return stated ? Fitness::Usable : Fitness::NoAddress;
}

std::vector<platform::AddressRow> UsableNetworks(platform::NetworkAddresses& addresses) {
  std::vector<platform::AddressRow> usable;
  const auto rows = addresses.Addresses();
  if (!rows) return usable;
  for (const platform::AddressRow& row : *rows) {
    const auto interfaceRow = addresses.Interface(row.interfaceIndex);
    if (interfaceRow && Usable(row, *interfaceRow)) usable.push_back(row);
  }
  return usable;
}

}  // namespace kellanseek::config
