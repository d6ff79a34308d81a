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
#include "network/AddressPolling.h"
#include "protocol/MessageReader.h"

namespace kellanseek::engine {

/// Turns one message into the changes of the controller table that it means. Callable from several threads at
/// once.
class Dispatcher {
 public:
  struct Parts {
    CtrlTable& table;
    const CKelLanSeekConfigSettings& settings;
    const network::AddressPolling& polling;
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
                     const MessageOrigin& origin, Scratch& scratch);

 private:
  /// One message on its way through.
  struct Context {
    CtrlTable::Access& table;
    const protocol::MessageReader::Message& message;
    CtrlInfo& pattern;
    const MessageOrigin& origin;
    CtrlTable::Record record;    ///< The stored controller; none for an unknown one.
    bool replacesAdded = false;  ///< The unknown one was added by a client; it finds room in any case.
  };

  bool Dispatch(const protocol::MessageReader::Message& message, const MessageOrigin& origin);
  void Act(const Context& context);
  void OnCtrlInfo(const Context& context);
  void OnCtrlInfoOfDynamic(const Context& context);
  void OnCtrlInfoOfConfigured(const Context& context);
  void OnCtrlInfoOfUnknown(const Context& context);
  void OnCtrlAlive(const Context& context);
  void OnCtrlAliveOfConfigured(const Context& context);
  void OnLeaving(const Context& context, LanSeekEventReason reason);
  void OnBroadcastRequest(const Context& context);
  void OnTargetedRequest(const Context& context);
  void OnRequestForThisHost(const Context& context);
  void CountRequestOfAnother(const Context& context);

  void TraceRefusal(const CtrlInfo& pattern);
  CtrlTable::Record AddUnknown(const Context& context, bool published);
  void TakeIdentity(const Context& context);
  void TakeInterface(const Context& context) const;
  void Publish(const CtrlInfo& record);

  CtrlTable& table_;
  const CKelLanSeekConfigSettings& settings_;
  const network::AddressPolling& polling_;
  EngineLock& engineLock_;
  Collisions& collisions_;
  CtrlLifecycle& lifecycle_;
  RefreshCycle& refreshCycle_;
  HostNames& hostNames_;
  events::EventQueue& events_;
  daemon::RemoteVCPublisher& daemon_;
  diagnostics::Tracer trace_;
  protocol::MessageReader reader_;
  /// The tick from which on a controller that finds no room is traced again. Under the table lock.
  std::uint64_t nextRefusalTrace_ = 0;
};

}  // namespace kellanseek::engine
