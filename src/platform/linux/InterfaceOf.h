#pragma once

#include <functional>

#include <ifaddrs.h>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// Calls `visit` for every IPv4 address of this host, in the system's order, until it returns false. Returns
/// false if the system cannot list them.
bool ForEachAddress(const std::function<bool(const ifaddrs& row, Ipv4 address)>& visit);

/// The index of the interface that holds an address; 0 if none does.
unsigned InterfaceIndexOf(Ipv4 address);

}  // namespace kellanseek::platform
