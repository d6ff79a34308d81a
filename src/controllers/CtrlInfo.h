#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "platform/Ipv4.h"

namespace kellanseek {

/// A version number that was never reported.
inline constexpr std::uint32_t kVersionUnknown = 0xFFFFFFFFU;

/// No timer, no outstanding request, no interface.
inline constexpr std::int32_t kNone = -1;

/// One controller: what it says of itself, and what the engine keeps about it. An absent text is an empty
/// one.
struct CtrlInfo {
  std::wstring ctrlName;
  std::wstring ctrlAddress;  ///< Dotted IPv4 address; for a local virtual controller its system path.
  std::wstring systemName;
  std::wstring releasePath;
  std::wstring systemID;
  std::wstring ctrlID;
  std::wstring macAddress;
  std::wstring hostName;  ///< Found by reverse look-up.

  /// The address as a number when known. The collision rules keep their answer to "is this the fixed address"
  /// here.
  platform::Ipv4 ipAddress = platform::kNoAddress;
  std::uint32_t lanSeekID = 0;
  KelCtrlType ctrlType = RC;
  RemoteVCPublication remotePublication = RemoteVCPublication_False;
  std::uint32_t versionMajor = kVersionUnknown;
  std::uint32_t versionMinor = kVersionUnknown;
  std::uint32_t versionRevision = kVersionUnknown;
  std::uint32_t kelAPICompatibilityRevision = kVersionUnknown;
  std::uint32_t commPortNumber = 0;
  KelCtrlLevel ctrlLevel = SystemLevel;
  KelCtrlAvailability ctrlStatus = CtrlUnavailable;  ///< Never CtrlRemoved; that only travels in events.
  LanSeekCtrlIdentificationType identificationType = StaticCtrlDefinition;

  std::int32_t ticksToNextAction =
      kNone;  ///< Ticks until the next request or liveness check; kNone for never.
  /// Requests still to be sent before the controller counts as lost; negative while none is outstanding, and
  /// for requests without end.
  std::int32_t retriesLeft = kNone;
  platform::Ipv4 heardOnAddress = 0;      ///< Local interface address it was last heard on; 0 for none.
  std::int32_t heardOnInterface = kNone;  ///< Position of that interface in the interface table.
  bool published = false;                 ///< Clients have been told of it, and it is listed.

  std::uint32_t vcProcessID = 0;
  std::uint64_t vcProcessStart =
      0;  ///< Tells the process from a later one with the same id; 0 when not known.
  KelComPtr<IUnknown> vcInterface;  ///< The virtual controller's own object.

  /// Everything back to the values above. Texts keep their capacity.
  void Reset();

  /// Takes over from a fresh answer what may change during the life of a record: names, path, controller id,
  /// versions, port and level; never systemID, macAddress, ctrlAddress, hostName, kind or definition. True
  /// when anything was different.
  bool UpdateFrom(const CtrlInfo& newer);

  bool Available() const { return ctrlStatus == CtrlAvailable; }
  bool Dynamic() const { return identificationType == DynamicCtrlDefinition; }
};

}  // namespace kellanseek
