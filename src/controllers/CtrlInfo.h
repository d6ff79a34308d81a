#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "controllers/PollSchedule.h"
#include "platform/Ipv4.h"

namespace kellanseek {

/// A version number that was never reported.
inline constexpr std::uint32_t kVersionUnknown = 0xFFFFFFFFU;

/// What may change during the life of a record: most of what a controller says of itself, and what the engine
/// keeps about it. An absent text is an empty one.
struct CtrlState {
  std::wstring ctrlName;
  std::wstring systemName;
  std::wstring releasePath;
  std::wstring ctrlID;
  std::wstring hostName;  ///< Found by reverse look-up.

  KelCtrlType ctrlType = RC;
  RemoteVCPublication remotePublication = RemoteVCPublication_False;
  std::uint32_t versionMajor = kVersionUnknown;
  std::uint32_t versionMinor = kVersionUnknown;
  std::uint32_t versionRevision = kVersionUnknown;
  std::uint32_t kelAPICompatibilityRevision = kVersionUnknown;
  std::uint32_t commPortNumber = 0;
  KelCtrlLevel ctrlLevel = SystemLevel;
  KelCtrlAvailability ctrlStatus = CtrlUnavailable;  ///< Never CtrlRemoved; that only travels in events.

  platform::Ipv4 heardOnAddress = 0;      ///< Local interface address it was last heard on; 0 for none.
  std::int32_t heardOnInterface = kNone;  ///< Position of that interface in the interface table.
  bool published = false;                 ///< Clients have been told of it, and it is listed.

  std::uint32_t vcProcessID = 0;
  /// Tells the process from a later one with the same id; 0 when not known.
  std::uint64_t vcProcessStart = 0;
  KelComPtr<IUnknown> vcInterface;  ///< The virtual controller's own object.

  /// Takes over from a fresh answer what it says of the controller: names, path, controller id, versions,
  /// port and level; never host name or kind. True when anything was different.
  bool UpdateFrom(const CtrlState& newer);

  bool Available() const { return ctrlStatus == CtrlAvailable; }
};

/// One controller: its state, and what the table finds it by.
struct CtrlInfo : CtrlState {
  std::wstring ctrlAddress;  ///< Dotted IPv4 address; for a local virtual controller its system path.
  std::wstring systemID;
  std::wstring macAddress;
  std::uint32_t lanSeekID = 0;
  LanSeekCtrlIdentificationType identificationType = StaticCtrlDefinition;

  /// What a message says, and where it was heard, back to the values above, for the next message. Texts keep
  /// their capacity.
  void ResetHeard();

  bool Dynamic() const { return identificationType == DynamicCtrlDefinition; }

  /// When it is asked next; the table changes it, because it keeps those that have a timer at hand.
  const PollSchedule& Schedule() const { return schedule_; }

 private:
  friend class CtrlTable;

  PollSchedule schedule_;
  bool hasTimerEntry_ = false;  ///< The table's list of timers holds this record's id.
};

}  // namespace kellanseek
