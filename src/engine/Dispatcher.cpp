#include "engine/Dispatcher.h"

#include <algorithm>
#include <string>

#include "controllers/TextKeys.h"
#include "diagnostics/UnitNames.h"
#include "platform/CodePage.h"
#include "protocol/Fields.h"
#include "protocol/MessageReader.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlInfo;
using controllers::CtrlState;
using controllers::CtrlTable;
using controllers::PollSchedule;

using protocol::MessageType;

constexpr std::int32_t kSecondsBetweenRefusalTraces = 60;

bool IsAnswer(MessageType type) {
  return type == MessageType::CtrlInfoMsg || type == MessageType::CtrlAliveMsg;
}

/// Messages by which a controller tells of itself, and which mostly repeat the one before.
bool MayRepeat(const MessageOrigin& origin) {
  return origin.source == MsgSource::FromResponseSocket || origin.source == MsgSource::FromNonLocalSocket;
}

/// Remote publication requires version 5.6. An unknown version is a large number and passes.
bool CanBePublishedRemotely(const CtrlInfo& record) {
  return record.versionMajor >= 6 || (record.versionMajor >= 5 && record.versionMinor >= 6);
}

}  // namespace

Dispatcher::Dispatcher(const Parts& parts)
    : table_(parts.table),
      settings_(parts.settings),
      polling_(parts.polling),
      engineLock_(parts.engineLock),
      collisions_(parts.collisions),
      lifecycle_(parts.lifecycle),
      refreshCycle_(parts.refreshCycle),
      hostNames_(parts.hostNames),
      events_(parts.events),
      daemon_(parts.daemon),
      journal_(parts.journal),
      trace_(parts.debugOutput, diagnostics::kDynamicInfoUnit),
      fingerprint_(controllers::RandomKey()) {}

bool Dispatcher::Read(std::string_view text, std::size_t length, std::optional<platform::Ipv4> sender,
                      const MessageOrigin& origin, protocol::Message& message) const {
  using Outcome = protocol::ParseResult::Outcome;
  const protocol::ParseResult parsed = protocol::ParseMessage(text.substr(0, length), length, message);
  if (parsed.outcome == Outcome::LengthMismatch) {
    journal_.counters.lengthMismatch.Add();
    trace_.Error(L"LanSeek: Message length mismatch. Received %d, claimed %d, strlen %d", length,
                 parsed.claimedLength, parsed.textLength);
    return false;
  }
  // The address that a message states counts only if it came from the network.
  if (parsed.outcome != Outcome::Accepted || (sender && message.ownAddressTooLong)) {
    journal_.Malformed(text, sender.value_or(0));
    return false;
  }
  return origin.source != MsgSource::FromNonLocalSocket || IsAnswer(message.type);
}

void Dispatcher::HandleMessage(std::string_view text, std::size_t length,
                               std::optional<platform::Ipv4> sender, const MessageOrigin& origin,
                               protocol::Message& message) {
  journal_.counters.received.at(static_cast<std::size_t>(origin.source)).Add();
  table_.GiveWay();
  std::uint64_t fingerprint = 0;
  if (sender && MayRepeat(origin)) {
    fingerprint = fingerprint_.Of(text, length, *sender, origin);
    if (HandleRepeated(fingerprint, origin)) return;
  }
  if (!Read(text, length, sender, origin, message)) return;

  // Anything sent to a request socket is treated as a request: only its interface counts, not its sender.
  if (sender && origin.source != MsgSource::FromRequestSocket) {
    const std::string source = platform::FormatIpv4(*sender);
    platform::AssignWide(message.identity.ctrlAddress,
                         message.ownAddress ? message.ownAddress->View() : source);
  }
  if (origin.source == MsgSource::FromLocalVC) message.identity.ctrlType = VC;

  const bool needsEngineLock = message.identity.ctrlType == VC && message.type == MessageType::CtrlInfoMsg;
  if (!needsEngineLock) {
    Dispatch(message, origin, fingerprint);
    return;
  }
  const EngineLock::Scope lock(engineLock_);
  // A refused message keeps the engine lock; see HandleMessage().
  if (!Dispatch(message, origin, 0)) engineLock_.Acquire();
}

/// Most messages say what their controller said before. Such a message is known by its fingerprint, without
/// being read and compared again.
bool Dispatcher::HandleRepeated(std::uint64_t fingerprint, const MessageOrigin& origin) {
  CtrlTable::Access table(table_);
  const CtrlTable::Repeated repeated = table.FindRepeated(fingerprint);
  if (!repeated.record) return false;
  CountAccepted(repeated.messageType);
  table.NoteHeard(repeated.record, origin.received);
  AwaitNextMessage(table, repeated.record);
  return true;
}

bool Dispatcher::Dispatch(const protocol::Message& message, const MessageOrigin& origin,
                          std::uint64_t fingerprint) {
  using Finding = CollisionVerdict::Finding;
  CtrlTable::Access table(table_);
  const CollisionVerdict verdict =
      collisions_.HandleCtrlCollisions(table, message.type, message.identity, origin);
  if (verdict.finding == Finding::Drop) {
    journal_.counters.colliding.Add();
    return false;
  }

  CtrlTable::Record record;
  if (verdict.finding == Finding::Known) {
    record = verdict.record;
  } else if (verdict.finding == Finding::NotChecked && origin.source != MsgSource::FromRequestSocket) {
    record = table.FindCtrl(message.identity);
  }
  Act({table, message, origin, record, verdict.finding == Finding::ReplacesAdded,
       verdict.undisputed ? fingerprint : 0});
  return true;
}

void Dispatcher::CountAccepted(std::size_t messageType) const {
  auto& accepted = journal_.counters.accepted;
  accepted.at(messageType < accepted.size() ? messageType : 0).Add();
}

void Dispatcher::Act(const Context& context) {
  CountAccepted(static_cast<std::size_t>(context.message.type));
  if (context.record && IsAnswer(context.message.type))
    context.table.NoteHeard(context.record, context.origin.received);
  switch (context.message.type) {
    case MessageType::CtrlInfoMsg: return OnCtrlInfo(context);
    case MessageType::CtrlAliveMsg: return OnCtrlAlive(context);
    case MessageType::CtrlRestartMsg: return OnLeaving(context, CtrlLostRestart);
    case MessageType::CtrlPowerDownMsg: return OnLeaving(context, CtrlLostPowerDown);
    case MessageType::FullRequestMsg:
    case MessageType::RefreshRequestMsg: return OnBroadcastRequest(context);
    case MessageType::TargetedRequestMsg: return OnTargetedRequest(context);
    default: return;
  }
}

/// The schedule of an announced controller that has just been heard.
void Dispatcher::AwaitNextMessage(CtrlTable::Access& table, CtrlTable::Record record) const {
  auto schedule = table.ChangeSchedule(record);
  if (!record->Dynamic()) {
    schedule->AwaitNextPoll(polling_.NextPollTicks());
  } else if (record->ctrlType == VC) {
    schedule->AwaitNextPoll(settings_.Ticks(settings_.VCRefreshInterval));
  } else {
    schedule->Idle();
  }
}

/// To be called last, if the same message would now change nothing.
void Dispatcher::Remember(const Context& context) const {
  if (context.fingerprint == 0) return;
  context.table.RememberMessage(context.record, context.fingerprint,
                                static_cast<std::uint32_t>(context.message.type));
}

void Dispatcher::OnCtrlInfo(const Context& context) {
  if (!context.record) return OnCtrlInfoOfUnknown(context);
  if (context.record->Dynamic()) return OnCtrlInfoOfDynamic(context);
  return OnCtrlInfoOfConfigured(context);
}

void Dispatcher::OnCtrlInfoOfDynamic(const Context& context) {
  const CtrlInfo& record = *context.record;
  CtrlState& state = context.table.Change(context.record);
  const bool isNew = !record.published;
  // First, because it can fail: a change without its event would never be reported.
  const bool changed = protocol::UpdateFrom(state, context.message.identity);
  if (isNew) {
    state.published = true;
    if (record.ctrlType != VC) hostNames_.QueueHostNameLookup(record.lanSeekID, record.Address());
    events_.QueueEvent(record.lanSeekID, CtrlAvailable, CtrlNew);
  } else if (changed) {
    events_.QueueEvent(record.lanSeekID, CtrlAvailable, CtrlUpdated);
  }
  AwaitNextMessage(context.table, context.record);
  // After the update, because the daemon copies the identity.
  if (isNew) Publish(record);
  Remember(context);
}

void Dispatcher::Publish(const CtrlInfo& record) {
  if (record.remotePublication == RemoteVCPublication_False || !CanBePublishedRemotely(record)) return;
  if (!daemon_.AddRemoteVC(record)) {
    trace_.Error(L"LanSeek. Failed to publish VC remotely %s", record.ctrlAddress);
  }
}

void Dispatcher::TakeIdentity(const Context& context) {
  const controllers::Identity& heard = context.message.identity;
  const CtrlInfo& record = *context.record;
  if (platform::LocaleEqual(record.systemID, heard.systemID) &&
      platform::LocaleEqual(record.macAddress, heard.macAddress)) {
    return;
  }
  context.table.SetIdentity(context.record, heard.systemID, heard.macAddress);
}

void Dispatcher::TakeInterface(const Context& context) const {
  if (!context.origin.interfaceIndex) return;
  CtrlState& state = context.table.Change(context.record);
  state.heardOnAddress = context.origin.interfaceAddress;
  state.heardOnInterface = context.origin.interfaceIndex;
}

void Dispatcher::OnCtrlInfoOfConfigured(const Context& context) {
  const CtrlInfo& record = *context.record;
  CtrlState& state = context.table.Change(context.record);
  const bool isBack = !record.Available() || !record.published;
  // First, because they can fail: a change without its event would never be reported.
  if (isBack) TakeIdentity(context);
  const bool changed = protocol::UpdateFrom(state, context.message.identity);
  if (isBack) {
    state.ctrlStatus = CtrlAvailable;
    state.published = true;
    hostNames_.QueueHostNameLookup(record.lanSeekID, record.Address());
    events_.QueueEvent(record.lanSeekID, CtrlAvailable, CtrlReconnected);
  } else if (changed) {
    events_.QueueEvent(record.lanSeekID, CtrlAvailable, CtrlUpdated);
  }
  TakeInterface(context);
  AwaitNextMessage(context.table, context.record);
  Remember(context);
}

void Dispatcher::TraceRefusal(const controllers::Identity& identity) {
  // A flood of unknown controllers must not flood the traces too.
  const std::uint64_t now = refreshCycle_.TicksSoFar();
  if (now < nextRefusalTrace_) return;
  nextRefusalTrace_ = now + static_cast<std::uint64_t>(settings_.Ticks(kSecondsBetweenRefusalTraces));
  trace_.Error(L"LanSeek: Too many dynamic controllers. %s is not added", identity.ctrlAddress);
}

CtrlTable::Record Dispatcher::AddUnknown(const Context& context, bool published) {
  const std::uint32_t lanSeekID = context.table.IssueLanSeekID();
  // A controller added by a client had a record before, so it always finds room.
  if (!context.replacesAdded && !context.table.HasRoomForDynamic(context.message.identity)) {
    journal_.counters.tableFull.Add();
    TraceRefusal(context.message.identity);
    return {};
  }
  CtrlInfo record;
  static_cast<controllers::CtrlKeys&>(record) = context.message.identity;
  static_cast<controllers::CtrlDescription&>(record) = context.message.identity;
  // Senders on the request socket are ignored, so such a record has no interface.
  if (context.origin.source != MsgSource::FromRequestSocket)
    static_cast<controllers::HeardOn&>(record) = {context.origin.interfaceAddress,
                                                  context.origin.interfaceIndex};
  record.firstHeard = record.lastHeard = context.origin.received;
  record.ctrlStatus = CtrlAvailable;
  record.identificationType = DynamicCtrlDefinition;
  record.published = published;
  record.lanSeekID = lanSeekID;
  const CtrlTable::Record added = context.table.Add(record);
  if (!published && added) {
    context.table.ChangeSchedule(added)->Arm(settings_.Ticks(settings_.RefreshTimeout),
                                             PollSchedule::OneMore(settings_.RetryCount()));
  }
  return added;
}

void Dispatcher::OnCtrlInfoOfUnknown(const Context& context) {
  const CtrlTable::Record added = AddUnknown(context, true);
  if (!added) return;
  hostNames_.QueueHostNameLookup(added->lanSeekID, added->Address());
  events_.QueueEvent(added->lanSeekID, CtrlAvailable, CtrlNew);
}

void Dispatcher::OnCtrlAlive(const Context& context) {
  if (!context.record) {
    if (context.message.identity.ctrlType != VC) AddUnknown(context, false);
    return;
  }
  if (!context.record->Dynamic()) return OnCtrlAliveOfConfigured(context);
  // Until the full identity arrives, a presence does not end the requests for it.
  if (!context.record->published || context.message.identity.ctrlType == VC) return;
  context.table.ChangeSchedule(context.record)->Idle();
  Remember(context);
}

void Dispatcher::OnCtrlAliveOfConfigured(const Context& context) {
  const bool isAnnounced = context.record->Available() && context.record->published;
  if (!context.record->Available()) {
    // Available, but not announced before its full identity arrives, which is requested at once.
    CtrlState& state = context.table.Change(context.record);
    state.ctrlStatus = CtrlAvailable;
    state.published = false;
    TakeIdentity(context);
    auto schedule = context.table.ChangeSchedule(context.record);
    if (polling_.Enabled()) {
      schedule->AskNow(PollSchedule::OneMore(settings_.NonLocalRetryCount()));
    } else {
      schedule->Arm(settings_.Ticks(settings_.RefreshTimeout), PollSchedule::OneMore(settings_.RetryCount()));
    }
  } else if (isAnnounced) {
    AwaitNextMessage(context.table, context.record);
  }
  TakeInterface(context);
  if (isAnnounced) Remember(context);
}

void Dispatcher::OnLeaving(const Context& context, LanSeekEventReason reason) {
  if (!context.record) return;
  // A controller added by address is removed for good when it announces its own departure.
  if (context.record->identificationType == RemoteCtrlDefinition) context.table.MakeDynamic(context.record);
  lifecycle_.RemoveActiveCtrl(context.table, context.record, reason);
}

void Dispatcher::OnBroadcastRequest(const Context& context) {
  // The answers to another workstation's request arrive here too, so it replaces our own.
  refreshCycle_.StartRefreshCycle(context.table, context.origin.interfaceIndex, context.message.type);
  daemon_.QueueMessageForRemoteVC(context.message.type, context.origin.interfaceIndex, 0);
}

void Dispatcher::OnTargetedRequest(const Context& context) {
  if (!context.message.target) return;
  const platform::Ipv4 target = platform::ParseIpv4(context.message.target->View());
  if (target != platform::kNoAddress && target == context.origin.interfaceAddress)
    return OnRequestForThisHost(context);
  CountRequestOfAnother(context);
}

void Dispatcher::OnRequestForThisHost(const Context& context) {
  std::uint32_t lanSeekID = 0;
  if (!context.message.identity.systemID.empty()) {
    const auto known = context.table.AllBySystemID(context.message.identity.systemID);
    const auto published = std::find_if(known.begin(), known.end(), [](const CtrlTable::Record& record) {
      return record->remotePublication != RemoteVCPublication_False;
    });
    if (published == known.end()) return;
    lanSeekID = (*published)->lanSeekID;
  }
  daemon_.QueueMessageForRemoteVC(MessageType::TargetedRequestMsg, context.origin.interfaceIndex, lanSeekID);
}

void Dispatcher::CountRequestOfAnother(const Context& context) {
  const auto known = context.table.AllByAddress(platform::ToWide(context.message.target->View()));
  const auto found = std::find_if(known.begin(), known.end(), [&](const CtrlTable::Record& record) {
    return context.message.identity.systemID.empty() ||
           platform::LocaleEqual(record->systemID, context.message.identity.systemID);
  });
  if (found == known.end()) return;
  if (refreshCycle_.IsPolledByAddress(**found)) return;
  context.table.ChangeSchedule(*found)->CountForeignRequest(settings_.Ticks(settings_.RefreshTimeout));
}

}  // namespace kellanseek::engine
