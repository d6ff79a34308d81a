#pragma once

#include <cstdint>
#include <optional>

#include "controllers/CtrlTable.h"
#include "network/InterfaceTable.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Publishes virtual controllers of this host to other hosts. Thread-safe.
class RemoteVCPublisher {
 public:
  virtual ~RemoteVCPublisher() = default;

  /// Queues a message for the daemon: a request received on an interface, or the notice of a departing
  /// controller, which goes out on all and has none. `lanSeekID` 0 means all controllers. Returns true if it
  /// was queued, or if nothing is published. If memory is exhausted, only the message is lost.
  virtual bool QueueMessageForRemoteVC(protocol::MessageType type,
                                       std::optional<controllers::InterfaceIndex> interfaceIndex,
                                       std::uint32_t lanSeekID) noexcept = 0;

  /// Publishes a record's controller on every interface. Called with the table lock held. Returns false on
  /// failure; throws std::bad_alloc.
  virtual bool AddRemoteVC(const controllers::CtrlInfo& record) = 0;

  /// Prepares the datagrams of all published controllers for the interfaces of a new table.
  virtual void RefreshAfterReInit(controllers::CtrlTable::Access& table,
                                  const network::InterfaceTable& interfaces) = 0;
};

}  // namespace kellanseek::daemon
