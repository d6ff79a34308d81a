#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "controllers/Identity.h"
#include "controllers/PollSchedule.h"
#include "platform/Ipv4.h"

namespace kellanseek {

/// The local interface on which a controller was last heard.
struct HeardOn {
  platform::Ipv4 heardOnAddress = 0;      ///< The interface's address; 0 for none.
  std::int32_t heardOnInterface = kNone;  ///< The interface's index in the interface table.
};

/// The process and the object of a virtual controller of this host.
struct VirtualProcess {
  std::uint32_t vcProcessID = 0;
  /// Tells the process from a later one with the same id; 0 when not known.
  std::uint64_t vcProcessStart = 0;
  KelComPtr<IUnknown> vcInterface;
};

/// Everything about a stored controller that may change while it is stored.
struct CtrlState : CtrlDescription, HeardOn, VirtualProcess {
  std::wstring hostName;  ///< Found by reverse look-up.
  RemoteVCPublication remotePublication = RemoteVCPublication_False;
  KelCtrlAvailability ctrlStatus = CtrlUnavailable;  ///< Never CtrlRemoved; that only travels in events.
  bool published = false;                            ///< Clients have been told of it, and it is listed.

  bool Available() const { return ctrlStatus == CtrlAvailable; }
};

/// The record of one controller: its keys, which the table guards, and its state.
struct CtrlInfo : CtrlKeys, CtrlState {
  std::uint32_t lanSeekID = 0;
  LanSeekCtrlIdentificationType identificationType = StaticCtrlDefinition;

  bool Dynamic() const { return identificationType == DynamicCtrlDefinition; }

  /// ctrlAddress as a number, parsed when the table takes the record in. A text that is no IPv4 address gives
  /// kNoAddress.
  platform::Ipv4 Address() const { return address_; }

  /// When it is asked next; the table changes it, because it keeps those that have a timer at hand.
  const PollSchedule& Schedule() const { return schedule_; }

 private:
  friend class CtrlTable;

  platform::Ipv4 address_ = platform::kNoAddress;
  PollSchedule schedule_;
  bool hasTimerEntry_ = false;  ///< The table's list of timers holds this record's id.
};

}  // namespace kellanseek
