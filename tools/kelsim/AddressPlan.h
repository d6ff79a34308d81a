#pragma once

#include <cstdint>
#include <vector>

#include "platform/Ipv4.h"

namespace kellanseek::kelsim {

/// `count` consecutive addresses from `base` on. Throws std::invalid_argument where the address space ends
/// first.
std::vector<platform::Ipv4> ConsecutiveAddresses(platform::Ipv4 base, std::uint32_t count);

/// `count` addresses of hosts in the subnet of `own`: those that follow it, then from the subnet's first on;
/// without `own` itself. Leaves out the first `skipped` of them. Throws std::invalid_argument when there are
/// not so many.
std::vector<platform::Ipv4> AddressesInSubnet(platform::Ipv4 own, platform::Ipv4 mask, std::uint32_t skipped,
                                              std::uint32_t count);

}  // namespace kellanseek::kelsim
