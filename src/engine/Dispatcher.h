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
#include "engine/MessageFingerprint.h"
#include "engine/MsgSource.h"
#include "engine/RefreshCycle.h"
#include "events/EventQueue.h"
#include "network/AddressPolling.h"
#include "protocol/Message.h"

namespace kellanseek::engine {

/// Applies messages to the controller table. Thread-safe.
class Dispatcher {
 public:
  struct Parts {
    controllers::CtrlTable& table;
    const config::CKelLanSeekConfigSettings& settings;
    const network::AddressPolling& polling;
    EngineLock& engineLock;
    Collisions& collisions;
    CtrlLifecycle& lifecycle;
    RefreshCycle& refreshCycle;
    HostNames& hostNames;
    events::EventQueue& events;
    daemon::RemoteVCPublisher& daemon;
    diagnostics::Journal& journal;
    platform::DebugOutput& debugOutput;
  };
  explicit Dispatcher(const Parts& parts);

  /// Handles a message of `length` bytes; `text` may be shorter. `sender` is the sender's address, or none
  /// for a message from a virtual controller. `message` is working memory, whose content does not matter:
  /// reusing it saves all allocations for an unchanged controller.
  ///
  /// If the collision rules refuse a full identity that claims to come from a virtual controller, the engine
  /// lock stays held by the calling thread. A caller that waits for anything must release it first.
  void HandleMessage(std::string_view text, std::size_t length, std::optional<platform::Ipv4> sender,
                     const MessageOrigin& origin, protocol::Message& message);

 private:
  /// The state of handling one message.
  struct Context {
    controllers::CtrlTable::Access& table;
    const protocol::Message& message;
    const MessageOrigin& origin;
    controllers::CtrlTable::Record record;  ///< The stored controller; none if it is unknown.
    bool replacesAdded;  ///< The unknown controller had been added by a client, so it always finds room.
    std::uint64_t fingerprint;  ///< Of a message that the record may remember; otherwise 0.
  };

  /// Whether the message is well-formed and relevant. Traces a length mismatch.
  bool Read(std::string_view text, std::size_t length, std::optional<platform::Ipv4> sender,
            const MessageOrigin& origin, protocol::Message& message) const;
  bool HandleRepeated(std::uint64_t fingerprint, const MessageOrigin& origin);
  bool Dispatch(const protocol::Message& message, const MessageOrigin& origin, std::uint64_t fingerprint);
  void Act(const Context& context);
  void CountAccepted(std::size_t messageType) const;
  void AwaitNextMessage(controllers::CtrlTable::Access& table, controllers::CtrlTable::Record record) const;
  void Remember(const Context& context) const;
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

  void TraceRefusal(const controllers::Identity& identity);
  controllers::CtrlTable::Record AddUnknown(const Context& context, bool published);
  void TakeIdentity(const Context& context);
  void TakeInterface(const Context& context) const;
  void Publish(const controllers::CtrlInfo& record);

  controllers::CtrlTable& table_;
  const config::CKelLanSeekConfigSettings& settings_;
  const network::AddressPolling& polling_;
  EngineLock& engineLock_;
  Collisions& collisions_;
  CtrlLifecycle& lifecycle_;
  RefreshCycle& refreshCycle_;
  HostNames& hostNames_;
  events::EventQueue& events_;
  daemon::RemoteVCPublisher& daemon_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
  const MessageFingerprint fingerprint_;
  /// The tick from which the next refused controller is traced. Guarded by the table lock.
  std::uint64_t nextRefusalTrace_ = 0;
};

}  // namespace kellanseek::engine
