#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "diagnostics/Trace.h"
#include "platform/Ipv4.h"

namespace kellanseek {

/// A subnet as the configuration names it: any address in it, and its mask, both as they were written.
struct SubNetEntry {
  std::wstring IPNumber;
  std::wstring SubNetMask;

  /// Whether both texts are addresses. "255.255.255.255" is not: it cannot be told from a malformed text.
  bool Valid() const;
  /// Whether an interface with that address and mask is in this subnet: the masks are equal, and so are the
  /// two addresses under the mask. False for an entry that is not valid.
  bool Matches(platform::Ipv4 address, platform::Ipv4 mask) const;
};

/// Which of the usable interfaces take part.
enum InterfaceSelection : std::int32_t {
  AllInterfaces = 0,
  ExcludeListed = 1,
  UseListed = 2,
};

/// Every setting there is. A component object owns one and fills it once, before the engine starts; the
/// engine only reads it.
///
/// Fields hold what was configured, however senseless: nothing is refused on the way in. The methods give the
/// values to work with, which are always safe. Times are in seconds, flags are 0 or 1.
class CKelLanSeekConfigSettings {
 public:
  std::int32_t DynamicDetectionEnabled = 1;  ///< Broadcast discovery on the local networks.
  std::int32_t RequestPort = 5512;
  std::int32_t ResponsePort = 5513;
  std::int32_t RefreshInterval = 60;
  std::int32_t RefreshTimeout = 4;
  std::int32_t Retries = 3;
  std::int32_t MaxRequestsPerSecond = 48;   ///< Targeted requests that one interface may send.
  std::int32_t TickInterval = 250;          ///< Milliseconds.
  std::int32_t VCRefreshInterval = 1;       ///< Between two checks of a local virtual controller.
  std::int32_t NonLocalUpdatesEnabled = 1;  ///< Poll configured controllers; see network::AddressPolling.
  std::int32_t NonLocalPort = 5514;
  std::int32_t NonLocalRefreshInterval = 32;
  std::int32_t NonLocalRefreshTimeout = 3;
  std::int32_t NonLocalRetries = 3;
  std::int32_t DetectInterfaceChanges = 1;
  std::int32_t FakeRemoteVCAs =
      VC;  ///< The kind that older clients are told for a remote virtual controller.
  std::int32_t InterfaceMode = AllInterfaces;
  std::vector<SubNetEntry> SubNets;

  /// Whether a usable interface with that address and mask takes part in broadcast discovery.
  bool Selects(platform::Ipv4 address, platform::Ipv4 mask) const;

  /// Removes the subnets that are not valid, with a trace each, and brings the interface selection and
  /// DynamicDetectionEnabled into accord: without broadcast discovery no interface takes part, and a
  /// selection that names no usable subnet turns broadcast discovery off.
  void ValidateInterfaces(const diagnostics::Tracer& tracer);

  /// Neither broadcasts nor polls: what is configured of a controller is all that will ever be known.
  bool CompleteInfoMode() const { return DynamicDetectionEnabled == 0 && NonLocalUpdatesEnabled == 0; }

  /// The milliseconds of a tick, 1 to 1000.
  std::int32_t TickMilliseconds() const;
  /// Whole ticks per second, at least 1.
  std::int32_t TicksPerSecond() const;
  /// Seconds in ticks; INT32_MAX for a time that is too long to count, and kNone, no timer, for a negative
  /// one.
  std::int32_t Ticks(std::int32_t seconds) const;
  /// The two refresh intervals in ticks. 0 works as one second, so that no setting floods the network.
  std::int32_t RefreshIntervalTicks() const;
  std::int32_t NonLocalRefreshIntervalTicks() const;
  /// The retry counts, at most INT32_MAX - 1, so that one more can be counted. A negative one has no end.
  std::int32_t RetryCount() const;
  std::int32_t NonLocalRetryCount() const;
  /// Targeted requests per interface and tick, at least 1.
  std::uint32_t MaxRequestsPerTick() const;
  /// A configured port as sockets take it: its low 16 bits.
  static std::uint16_t Port(std::int32_t configured) { return static_cast<std::uint16_t>(configured); }
};

}  // namespace kellanseek
