#include "platform/Ipv4.h"

#include <arpa/inet.h>

#include <array>
#include <charconv>

#include "platform/CodePage.h"

namespace kellanseek::platform {

Ipv4 ParseIpv4(std::string_view text) {
  // inet_addr accepts an address followed by white space; here that counts as malformed.
  constexpr std::size_t kLongest = 63;
  if (text.empty() || text.size() > kLongest ||
      text.find_first_of(std::string_view(" \t\n\v\f\r\0", 7)) != text.npos) {
    return kNoAddress;
  }
  std::array<char, kLongest + 1> terminated{};
  text.copy(terminated.data(), text.size());
  return inet_addr(terminated.data());
}

Ipv4 ParseIpv4(std::wstring_view text) { return ParseIpv4(std::string_view(ToNarrow(text))); }

std::string FormatIpv4(Ipv4 address) {
  const std::uint32_t host = HostOrder(address);
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    std::array<char, 3> part;
    if (shift < 24) text.push_back('.');
    text.append(part.data(),
                std::to_chars(part.data(), part.data() + part.size(), (host >> shift) & 0xFFU).ptr);
  }
  return text;
}

std::wstring FormatIpv4Wide(Ipv4 address) {
  const std::string text = FormatIpv4(address);
  return {text.begin(), text.end()};
}

std::uint32_t HostOrder(Ipv4 address) { return ntohl(address); }

Ipv4 NetworkOrder(std::uint32_t address) { return htonl(address); }

}  // namespace kellanseek::platform
