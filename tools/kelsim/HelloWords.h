#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::hello {

// What `kelsim --hello` and `kelseek doctor --hello` say to each other, in the texts of an ordinary identity:
// the controller's name names the host, and its system name lists whose broadcasts it has heard in the last
// seconds. So one answer proves both ways, and an announcement that lacks the reader's address proves that
// only the way back works.

inline constexpr std::wstring_view kNamePrefix = L"hello from ";
inline constexpr std::wstring_view kHeardPrefix = L"heard ";
/// Broadcasts older than this say nothing about now. Milliseconds.
inline constexpr int kHeardFor = 5000;
/// Between two announcements. Milliseconds.
inline constexpr int kAnnounceEvery = 1000;

inline bool IsHello(std::wstring_view name) { return name.starts_with(kNamePrefix); }

/// Whether the system name of a hello lists the address.
inline bool HasHeard(std::wstring_view systemName, platform::Ipv4 address) {
  if (!systemName.starts_with(kHeardPrefix)) return false;
  const std::wstring word = L" " + platform::FormatIpv4Wide(address) + L" ";
  return (std::wstring(systemName) + L" ").find(word) != std::wstring::npos;
}

}  // namespace kellanseek::hello
