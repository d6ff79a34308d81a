#pragma once

#include <cstdint>

#include "controllers/CtrlTable.h"
#include "network/InterfaceTable.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Publishes virtual controllers of this host to others. All operations may be called from any thread.
class RemoteVCPublisher {
 public:
  virtual ~RemoteVCPublisher() = default;

  /// Queues a message for the daemon: a request seen on the interface at `interfaceIndex`, or the notice by
  /// which a published controller leaves, whatever the index. `lanSeekID` 0 means all. True when it was
  /// queued, or when nothing is published; a shortage of memory loses the message and no more.
  virtual bool QueueMessageForRemoteVC(protocol::MessageType type, std::int32_t interfaceIndex,
                                       std::uint32_t lanSeekID) noexcept = 0;

  /// Publishes the controller of a record on every interface. Called with the table lock held. False when
  /// that failed; throws std::bad_alloc.
  virtual bool AddRemoteVC(const CtrlInfo& record) = 0;

  /// Prepares every published controller anew for the interfaces of another table.
  virtual void RefreshAfterReInit(CtrlTable::Access& table, const network::InterfaceTable& interfaces) = 0;
};

}  // namespace kellanseek::daemon
