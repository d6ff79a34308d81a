#pragma once

#include <cstdint>
#include <string>

#include "controllers/CtrlTable.h"
#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/Trace.h"
#include "engine/HostNames.h"
#include "events/EventQueue.h"
#include "network/AddressPolling.h"
#include "network/InterfaceTable.h"

namespace kellanseek::engine {

/// The changes to a record as a whole. Other classes decide when.
class CtrlLifecycle {
 public:
  CtrlLifecycle(const network::AddressPolling& polling, events::EventQueue& events, HostNames& hostNames,
                daemon::RemoteVCPublisher& daemon, platform::DebugOutput& debugOutput);

  /// Withdraws a controller and reports `reason` to clients and other hosts that knew it. A dynamic record is
  /// removed from the table, or stays unlisted with `keep`; any other becomes unavailable. Throws
  /// std::bad_alloc before any change.
  void RemoveActiveCtrl(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record,
                        LanSeekEventReason reason, bool keep = false);

  /// Adds a controller by address, or finds it. Returns S_OK with a new id, KEL_S_ALREADY_DYNAMIC or
  /// KEL_S_ALREADY_CONFIGURED with its id, or E_INVALIDARG for a text that is not a dotted address.
  HRESULT AddRemoteController(controllers::CtrlTable::Access& table, const std::wstring& address,
                              std::uint32_t& lanSeekID);

  /// Binds the available controllers to a new interface table and withdraws those whose interface is gone.
  /// Notifies the daemon.
  void RevalidateAfterInterfaceChange(controllers::CtrlTable::Access& table,
                                      const network::InterfaceTable& interfaces);

 private:
  void TellDaemonOfRemoval(const controllers::CtrlInfo& record, LanSeekEventReason reason);
  void Revalidate(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record,
                  const network::InterfaceTable& interfaces);

  const network::AddressPolling& polling_;
  events::EventQueue& events_;
  HostNames& hostNames_;
  daemon::RemoteVCPublisher& daemon_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine
