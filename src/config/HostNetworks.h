#pragma once

#include <vector>

#include "platform/NetworkAddresses.h"

namespace kellanseek::config {

/// Whether an address of this host qualifies for broadcast discovery, and if not, why.
enum class Fitness { Usable, InterfaceDown, Loopback, NoAddress };
Fitness FitnessOf(const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow);

/// Whether an address of this host qualifies for broadcast discovery, regardless of the configured selection.
inline bool Usable(const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow) {
  return FitnessOf(row, interfaceRow) == Fitness::Usable;
}

/// The addresses of this host that currently qualify. Empty if the system cannot list them.
std::vector<platform::AddressRow> UsableNetworks(platform::NetworkAddresses& addresses);

}  // namespace kellanseek::config
