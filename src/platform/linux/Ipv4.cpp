#include "platform/Ipv4.h"

#include <arpa/inet.h>

#include "platform/CodePage.h"

namespace kellanseek::platform {

Ipv4 ParseIpv4(std::string_view text) {
  // inet_addr accepts an address followed by white space; here that counts as malformed.
  constexpr std::size_t kLongest = 63;
  const bool odd = text.find_first_of(std::string_view(" \t\n\v\f\r\0", 7)) != text.npos;
  if (odd || text.size() > kLongest) return kNoAddress;
  return inet_addr(std::string(text).c_str());
}

Ipv4 ParseIpv4(std::wstring_view text) { return ParseIpv4(std::string_view(ToNarrow(text))); }

std::string FormatIpv4(Ipv4 address) {
  const auto part = [host = HostOrder(address)](int shift) {
    return std::to_string((host >> shift) & 0xFFU);
  };
  return part(24) + '.' + part(16) + '.' + part(8) + '.' + part(0);
}

std::wstring FormatIpv4Wide(Ipv4 address) {
  const std::string text = FormatIpv4(address);
  return {text.begin(), text.end()};
}

std::uint32_t HostOrder(Ipv4 address) { return ntohl(address); }

Ipv4 NetworkOrder(std::uint32_t address) { return htonl(address); }

}  // namespace kellanseek::platform
