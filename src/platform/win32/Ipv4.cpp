#include "platform/Ipv4.h"

#ifndef _WINSOCK_DEPRECATED_NO_WARNINGS
#define _WINSOCK_DEPRECATED_NO_WARNINGS  // inet_addr accepts forms of an address that its successors refuse.
#endif
#include "platform/CodePage.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr unsigned kByteMask = 0xFF;

template <typename Text, typename ToText>
Text Dotted(Ipv4 address, Text dot, ToText toText) {
  const std::uint32_t host = HostOrder(address);
  return toText((host >> 24) & kByteMask) + dot + toText((host >> 16) & kByteMask) + dot +
         toText((host >> 8) & kByteMask) + dot + toText(host & kByteMask);
}

}  // namespace

Ipv4 ParseIpv4(std::string_view text) {
  // inet_addr takes empty or blank text for 0.0.0.0 and stops at a NUL or a blank after the address.
  if (text.find_first_not_of("0123456789abcdefABCDEFxX.") != std::string_view::npos || text.empty()) {
    return kNoAddress;
  }
  return inet_addr(std::string(text).c_str());
}

Ipv4 ParseIpv4(std::wstring_view text) { return ParseIpv4(ToNarrow(text)); }

std::string FormatIpv4(Ipv4 address) {
  return Dotted(address, std::string("."), [](unsigned part) { return std::to_string(part); });
}

std::wstring FormatIpv4Wide(Ipv4 address) {
  return Dotted(address, std::wstring(L"."), [](unsigned part) { return std::to_wstring(part); });
}

std::uint32_t HostOrder(Ipv4 address) { return ntohl(address); }

Ipv4 NetworkOrder(std::uint32_t address) { return htonl(address); }

}  // namespace kellanseek::platform
