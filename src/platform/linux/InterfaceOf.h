#pragma once

#include <functional>

#include <ifaddrs.h>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// Calls `visit` for every IPv4 address of this host, in the system's order, until it gives false. False when
/// the system could not say.
bool ForEachAddress(const std::function<bool(const ifaddrs& row, Ipv4 address)>& visit);

/// The index of the interface that has an address; 0 for none.
unsigned InterfaceIndexOf(Ipv4 address);

}  // namespace kellanseek::platform
