#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include <linux/if_packet.h>

#include "platform/WireTap.h"

namespace kellanseek::platform {

/// The size of the header of a record of kCaptureLinkType.
inline constexpr std::size_t kLinkHeaderBytes = 16;

/// Reads a packet that a packet socket received. `record` is the packet after kLinkHeaderBytes of room, which
/// this fills in; the texts of the result are parts of it. The time is not set. Returns nothing for a packet
/// of no interest: one that is no beginning of a UDP datagram, or that this host shows itself once more.
std::optional<WireDatagram> ReadPacket(const sockaddr_ll& from, std::span<char> record);

}  // namespace kellanseek::platform
