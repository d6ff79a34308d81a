#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// A UDP datagram as the network card handed it over, before any firewall of this host.
struct WireDatagram {
  std::uint32_t interfaceIndex{};
  bool isOutgoing{};
  Ipv4 source{};
  Ipv4 destination{};
  std::uint16_t sourcePort{};
  std::uint16_t destinationPort{};
  std::string_view payload;   ///< As far as it was captured. Valid until the next call.
  std::string_view captured;  ///< The record for a capture file of type kCaptureLinkType. The same.
  std::chrono::system_clock::time_point time;
};

/// The link type of the records, as capture files number it: a header with the kind and the sender's hardware
/// address, the same for every kind of network.
inline constexpr std::uint32_t kCaptureLinkType = 113;

/// Listens to all networks of this host. Not thread-safe.
class WireTap {
 public:
  virtual ~WireTap() = default;

  /// Waits for the next datagram. Those that came since the opening are kept until they are asked for, as far
  /// as there is room. Returns false after the time-out.
  virtual bool Next(std::chrono::milliseconds timeout, WireDatagram& datagram) = 0;
};

/// Returns null, with the reason in `why` (UTF-8), where the system does not permit it: it is the
/// administrator's right.
std::unique_ptr<WireTap> OpenWireTap(std::string& why);

}  // namespace kellanseek::platform
