#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
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
#include "protocol/Message.h"

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

  /// Handles a message of `length` bytes, of which `text` holds what there is. `sender` is the address it
  /// came from; none for a message that was handed in. What `reused` holds does not matter; from call to call
  /// it spares an unchanged controller all allocations.
  ///
  /// A full identity that claims to come from a virtual controller and is refused by the collision rules
  /// leaves the engine lock held by the calling thread; a caller that waits for anything gives it back first.
  void HandleMessage(std::string_view text, std::size_t length, std::optional<platform::Ipv4> sender,
                     const MessageOrigin& origin, protocol::Message& reused);

 private:
  /// One message on its way through.
  struct Context {
    CtrlTable::Access& table;
    const protocol::Message& message;
    const MessageOrigin& origin;
    CtrlTable::Record record;    ///< The stored controller; none for an unknown one.
    bool replacesAdded = false;  ///< The unknown one was added by a client; it finds room in any case.
  };

  /// Whether the message is well-formed and of use; traces a length mismatch.
  bool Read(std::string_view text, std::size_t length, std::optional<platform::Ipv4> sender,
            const MessageOrigin& origin, protocol::Message& message) const;
  bool Dispatch(const protocol::Message& message, const MessageOrigin& origin);
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

  void TraceRefusal(const Identity& identity);
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
  /// The tick from which on a controller that finds no room is traced again. Under the table lock.
  std::uint64_t nextRefusalTrace_ = 0;
};

}  // namespace kellanseek::engine
