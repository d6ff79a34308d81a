#pragma once

#include <vector>

#include "platform/NetworkAddresses.h"

namespace kellanseek::config {

/// Whether an address of the host can take part in broadcast discovery, before the configuration selects.
bool Usable(const platform::AddressRow& row, const platform::InterfaceRow& interfaceRow);

/// The addresses of the host that can, as they are now; none when the system cannot say.
std::vector<platform::AddressRow> UsableNetworks(platform::NetworkAddresses& addresses);

}  // namespace kellanseek::config
