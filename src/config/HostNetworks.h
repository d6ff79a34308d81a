#pragma once

#include <vector>

#include "platform/NetworkAddresses.h"

namespace kellanseek::config {

/// Whether an address of this host qualifies for broadcast discovery, regardless of the configured selection.
bool Usable(const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow);

/// The addresses of this host that currently qualify. Empty if the system cannot list them.
std::vector<platform::AddressRow> UsableNetworks(platform::NetworkAddresses& addresses);

}  // namespace kellanseek::config
