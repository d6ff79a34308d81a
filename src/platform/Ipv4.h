#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kellanseek::platform {

/// An IPv4 address or mask in network byte order, as in the socket interface.
using Ipv4 = std::uint32_t;

/// Stands for "no address". It is also the limited broadcast address.
inline constexpr Ipv4 kNoAddress = 0xFFFFFFFFU;

/// The classic dotted-address conversion: one to four parts, each decimal, octal (leading 0) or hexadecimal
/// (0x). Returns kNoAddress for anything else, so "255.255.255.255" looks like malformed text.
Ipv4 ParseIpv4(std::string_view text);
/// The same for wide text. A character outside the code page makes it malformed.
Ipv4 ParseIpv4(std::wstring_view text);

/// "a.b.c.d"
std::string FormatIpv4(Ipv4 address);
std::wstring FormatIpv4Wide(Ipv4 address);

std::uint32_t HostOrder(Ipv4 address);
Ipv4 NetworkOrder(std::uint32_t address);

}  // namespace kellanseek::platform
