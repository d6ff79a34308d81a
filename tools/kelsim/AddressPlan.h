#pragma once

#include <cstdint>
#include <vector>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// Returns `count` consecutive addresses starting with `base`. Throws std::invalid_argument if the address
/// space has too few.
std::vector<platform::Ipv4> ConsecutiveAddresses(platform::Ipv4 base, std::uint32_t count);

/// Returns `count` host addresses in the subnet of `own`: the ones after `own`, then from the subnet's first
/// on, excluding `own` and the first `skipped`. Throws std::invalid_argument if the subnet has too few.
std::vector<platform::Ipv4> AddressesInSubnet(platform::Ipv4 own, platform::Ipv4 mask, std::uint32_t skipped,
                                              std::uint32_t count);

}  // namespace kellanseek::kelsim
