#pragma once

#include <cstdint>

#include "controllers/CtrlTable.h"
#include "network/InterfaceTable.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Publishes virtual controllers of this host to other hosts. Thread-safe.
class RemoteVCPublisher {
 public:
  virtual ~RemoteVCPublisher() = default;

  /// Queues a message for the daemon: a request seen on the interface at `interfaceIndex`, or the notice by
  /// which a published controller leaves, whatever the index. `lanSeekID` 0 means all. True when it was
  /// queued, or when nothing is published; a shortage of memory loses the message and no more.
  virtual bool QueueMessageForRemoteVC(protocol::MessageType type, std::int32_t interfaceIndex,
                                       std::uint32_t lanSeekID) noexcept = 0;

  /// Publishes a record's controller on every interface. Called with the table lock held. Returns false on
  /// failure; throws std::bad_alloc.
  virtual bool AddRemoteVC(const CtrlInfo& record) = 0;

  /// Prepares the datagrams of all published controllers for the interfaces of a new table.
  virtual void RefreshAfterReInit(CtrlTable::Access& table, const network::InterfaceTable& interfaces) = 0;
};

}  // namespace kellanseek::daemon
