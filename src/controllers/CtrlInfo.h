#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "controllers/Identity.h"
#include "controllers/InterfaceIndex.h"
#include "controllers/PollSchedule.h"
#include "platform/Ipv4.h"

namespace kellanseek::controllers {

/// The local interface on which a controller was last heard.
struct HeardOn {
  platform::Ipv4 heardOnAddress = 0;  ///< The interface's address; 0 for none.
  std::optional<InterfaceIndex> heardOnInterface;
};

/// When a controller was heard, in monotonic milliseconds, and how often it failed to answer. For the report
/// only: no decision depends on it.
struct History {
  std::uint64_t firstHeard = 0;  ///< 0 for never.
  std::uint64_t lastHeard = 0;
  std::uint32_t unanswered = 0;  ///< Requests that had to be repeated, or were the last before a loss.
};

/// The process and the object of a virtual controller of this host.
struct VirtualProcess {
  std::uint32_t vcProcessID = 0;
  /// Distinguishes the process from a later one with the same id; 0 if unknown.
  std::uint64_t vcProcessStart = 0;
  KelComPtr<IUnknown> vcInterface;
};

/// The part of a record that may change while it is stored.
struct CtrlState : CtrlDescription, History, HeardOn, VirtualProcess {
  text::CompactText hostName;  ///< From a reverse look-up.
  RemoteVCPublication remotePublication = RemoteVCPublication_False;
  KelCtrlAvailability ctrlStatus = CtrlUnavailable;  ///< Never CtrlRemoved, which occurs only in events.
  bool published = false;                            ///< Reported to clients and therefore listed.

  bool Available() const { return ctrlStatus == CtrlAvailable; }
};

/// A controller's record: its keys, which only the table may change, and its state.
struct CtrlInfo : CtrlKeys, CtrlState {
  std::uint32_t lanSeekID = 0;
  LanSeekCtrlIdentificationType identificationType = StaticCtrlDefinition;

  bool Dynamic() const { return identificationType == DynamicCtrlDefinition; }

  /// ctrlAddress as a number, parsed when the record is added to the table; kNoAddress if the text is not an
  /// IPv4 address.
  platform::Ipv4 Address() const { return address_; }

  /// When the controller is asked next. Changed through the table, which keeps track of running timers.
  const PollSchedule& Schedule() const { return schedule_; }

 private:
  friend class CtrlTable;

  platform::Ipv4 address_ = platform::kNoAddress;
  PollSchedule schedule_;
  bool hasTimerEntry_ = false;  ///< The table's list of timers contains this record's id.
};

}  // namespace kellanseek::controllers
