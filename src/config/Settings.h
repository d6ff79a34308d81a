#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "diagnostics/Trace.h"
#include "platform/Ipv4.h"

namespace kellanseek::config {

/// A subnet in the configuration: any address of the subnet, and its mask. Both are the texts of the file.
struct SubNetEntry {
  std::wstring IPNumber;
  std::wstring SubNetMask;

  /// Whether both texts are addresses. "255.255.255.255" is rejected: the conversion returns it for malformed
  /// text.
  bool Valid() const;
  /// Whether the entry is valid, its mask equals `mask`, and `address` lies in its subnet.
  bool Matches(platform::Ipv4 address, platform::Ipv4 mask) const;
};

/// How `SubNets` selects among the usable interfaces.
enum InterfaceSelection : std::int32_t {
  AllInterfaces = 0,
  ExcludeListed = 1,
  UseListed = 2,
};

/// All settings. A component object owns one instance and fills it once, before the engine starts; the engine
/// only reads it.
///
/// The fields hold the configured values unchanged, even senseless ones, so that a client or a check sees
/// what was configured. The methods return values that are safe to work with. Times are in seconds, flags are
/// 0 or 1.
class CKelLanSeekConfigSettings {
 public:
  std::int32_t DynamicDetectionEnabled = 1;  ///< Broadcast discovery on the local networks.
  std::int32_t RequestPort = 5512;
  std::int32_t ResponsePort = 5513;
  std::int32_t RefreshInterval = 60;
  std::int32_t RefreshTimeout = 4;
  std::int32_t Retries = 3;
  std::int32_t MaxRequestsPerSecond = 48;   ///< Limit for the targeted requests of one interface.
  std::int32_t TickInterval = 250;          ///< Milliseconds.
  std::int32_t VCRefreshInterval = 1;       ///< Seconds between two checks of a local virtual controller.
  std::int32_t NonLocalUpdatesEnabled = 1;  ///< Poll controllers by address; see network::AddressPolling.
  std::int32_t NonLocalPort = 5514;
  std::int32_t NonLocalRefreshInterval = 32;
  std::int32_t NonLocalRefreshTimeout = 3;
  std::int32_t NonLocalRetries = 3;
  std::int32_t DetectInterfaceChanges = 1;
  std::int32_t FakeRemoteVCAs = VC;  ///< KelCtrlType of remote virtual controllers in GetCtrlType().
  std::int32_t InterfaceMode = AllInterfaces;
  std::vector<SubNetEntry> SubNets;

  /// Whether a usable interface with this address and mask takes part in broadcast discovery.
  bool Selects(platform::Ipv4 address, platform::Ipv4 mask) const;

  /// Removes invalid subnets, with a trace for each, and reconciles InterfaceMode with
  /// DynamicDetectionEnabled: without broadcast discovery no interface takes part, and UseListed without a
  /// valid subnet turns broadcast discovery off.
  void ValidateInterfaces(const diagnostics::Tracer& tracer);

  /// Whether the network is not used at all, so that controllers are known only from the static controller
  /// file.
  bool CompleteInfoMode() const { return DynamicDetectionEnabled == 0 && NonLocalUpdatesEnabled == 0; }

  /// Length of a tick in milliseconds, 1 to 1000.
  std::int32_t TickMilliseconds() const;
  /// Whole ticks per second, at least 1.
  std::int32_t TicksPerSecond() const;
  /// Converts seconds to ticks. Returns at most INT32_MAX, and kNone (no timer) for a negative time.
  std::int32_t Ticks(std::int32_t seconds) const;
  /// The refresh intervals in ticks. An interval of 0 counts as 1 second, so that no setting floods the
  /// network.
  std::int32_t RefreshIntervalTicks() const;
  std::int32_t NonLocalRefreshIntervalTicks() const;
  /// The retry counts, at most INT32_MAX - 1, so that one more can be counted. A negative count never runs
  /// out.
  std::int32_t RetryCount() const;
  std::int32_t NonLocalRetryCount() const;
  /// Targeted requests per interface and tick, at least 1.
  std::uint32_t MaxRequestsPerTick() const;
  /// The low 16 bits of a configured port, to which every socket address truncates it.
  static std::uint16_t Port(std::int32_t configured) { return static_cast<std::uint16_t>(configured); }
};

}  // namespace kellanseek::config
