#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/Trace.h"
#include "engine/Collisions.h"
#include "engine/CtrlLifecycle.h"
#include "engine/EngineLock.h"
#include "engine/HostNames.h"
#include "engine/MsgSource.h"
#include "engine/RefreshCycle.h"
#include "events/EventQueue.h"
#include "protocol/MessageReader.h"

namespace kellanseek::engine {

/// Turns one message into the changes of the controller table that it means. Callable from several threads at
/// once.
class Dispatcher {
 public:
  struct Parts {
    CtrlTable& table;
    const CKelLanSeekConfigSettings& settings;
    EngineLock& engineLock;
    Collisions& collisions;
    CtrlLifecycle& lifecycle;
    RefreshCycle& refreshCycle;
    HostNames& hostNames;
    events::EventQueue& events;
    daemon::RemoteVCPublisher& daemon;
    platform::DebugOutput& debugOutput;
  };
  explicit Dispatcher(const Parts& parts);

  /// What one caller reuses from message to message, so that an unchanged controller costs no allocation.
  struct Scratch {
    CtrlInfo pattern;
  };

  /// Handles a message of `length` bytes, of which `text` holds what there is. `sourceAddress` is where it
  /// came from; null when there is no such address.
  ///
  /// A full identity that claims to come from a virtual controller and is refused by the collision rules
  /// leaves the engine lock held by the calling thread; a caller that waits for anything gives it back first.
  void HandleMessage(std::string_view text, std::size_t length, protocol::AddressText* sourceAddress,
                     const MessageOrigin& origin, Scratch& scratch) EXCLUDES(table_.TableMutex());

 private:
  /// One message on its way through.
  struct Context {
    const protocol::MessageReader::Message& message;
    CtrlInfo& pattern;
    const MessageOrigin& origin;
    CtrlTable::Iterator record;  ///< The stored controller; end() for an unknown one.
    bool replacesAdded = false;  ///< The unknown one was added by a client; it finds room in any case.
  };

  bool Dispatch(const protocol::MessageReader::Message& message, const MessageOrigin& origin)
      EXCLUDES(table_.TableMutex());
  void Act(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlInfo(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlInfoOfDynamic(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlInfoOfConfigured(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlInfoOfUnknown(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlAlive(const Context& context) REQUIRES(table_.TableMutex());
  void OnCtrlAliveOfConfigured(const Context& context) REQUIRES(table_.TableMutex());
  void OnLeaving(const Context& context, LanSeekEventReason reason) REQUIRES(table_.TableMutex());
  void OnBroadcastRequest(const Context& context) REQUIRES(table_.TableMutex());
  void OnTargetedRequest(const Context& context) REQUIRES(table_.TableMutex());
  void OnRequestForThisHost(const Context& context) REQUIRES(table_.TableMutex());
  void CountRequestOfAnother(const Context& context) REQUIRES(table_.TableMutex());

  void TraceRefusal(const CtrlInfo& pattern) REQUIRES(table_.TableMutex());
  CtrlTable::Iterator AddUnknown(const Context& context, bool published) REQUIRES(table_.TableMutex());
  void TakeIdentity(const Context& context) REQUIRES(table_.TableMutex());
  void TakeInterface(const Context& context, CtrlInfo& record) const;
  void ScheduleNextPoll(CtrlInfo& record) const;
  void Publish(const CtrlInfo& record);

  CtrlTable& table_;
  const CKelLanSeekConfigSettings& settings_;
  EngineLock& engineLock_;
  Collisions& collisions_;
  CtrlLifecycle& lifecycle_;
  RefreshCycle& refreshCycle_;
  HostNames& hostNames_;
  events::EventQueue& events_;
  daemon::RemoteVCPublisher& daemon_;
  diagnostics::Tracer trace_;
  protocol::MessageReader reader_;
  /// The tick from which on a controller that finds no room is traced again.
  std::uint64_t nextRefusalTrace_ GUARDED_BY(table_.TableMutex()) = 0;
};

}  // namespace kellanseek::engine
