#include "engine/Collisions.h"

#include "diagnostics/UnitNames.h"
#include "platform/CodePage.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;
using controllers::Identity;

using protocol::MessageType;

}  // namespace

Collisions::Collisions(CtrlLifecycle& lifecycle, diagnostics::Journal& journal,
                       platform::DebugOutput& debugOutput)
    : lifecycle_(lifecycle), journal_(journal), trace_(debugOutput, diagnostics::kDynamicInfoUnit) {}

bool Collisions::HasRequiredFields(const Identity& heard) const {
  if (heard.ctrlAddress.empty()) {
    trace_.Error(L"LanSeek::HandleCtrlCollisions. No source address in message!");
    return false;
  }
  if (heard.systemID.empty() || heard.macAddress.empty()) {
    trace_.Error(L"LanSeek::HandleCtrlCollisions. Unsufficent data in message from %s!", heard.ctrlAddress);
    return false;
  }
  return true;
}

CollisionVerdict Collisions::HandleCtrlCollisions(CtrlTable::Access& table, MessageType type,
                                                  const Identity& heard, const MessageOrigin& origin) {
  using Finding = CollisionVerdict::Finding;
  if (origin.source == MsgSource::FromRequestSocket || origin.source == MsgSource::FromLocalVC)
    return {Finding::NotChecked};
  if (origin.source != MsgSource::FromResponseSocket && origin.source != MsgSource::FromNonLocalSocket) {
    trace_.Error(L"LanSeek. Internal error HandleCtrlCollisions. Unknown detection type %d",
                 static_cast<std::int32_t>(origin.source));
    return {Finding::Drop};
  }
  if (type != MessageType::CtrlInfoMsg && type != MessageType::CtrlAliveMsg) return {Finding::NotChecked};
  if (!HasRequiredFields(heard)) return {Finding::Drop};

  Comparison comparison{{heard, origin, type == MessageType::CtrlInfoMsg}};
  // Every rule needs a shared identity, MAC address or address. A step removes no record except its own.
  const CtrlTable::Records related = table.Related(heard);
  bool undisputed = false;
  for (const CtrlTable::Record record : related) {
    const Step step = CompareWith(table, comparison, record);
    if (step == Step::Drop) return {Finding::Drop};
    undisputed = step == Step::Accept && record == related.front();
    if (step == Step::Accept) break;
  }
  if (comparison.match) return {Finding::Known, comparison.match, undisputed};
  // A poll is answered by a configured or added controller; any other answer is forged or outdated.
  if (origin.source == MsgSource::FromNonLocalSocket && !comparison.restarted) {
    trace_.Error(L"LanSeek: Message from static handling (%s) does not match any known controller!",
                 heard.ctrlAddress);
    return {Finding::Drop};
  }
  return {comparison.replacesAdded ? Finding::ReplacesAdded : Finding::Unknown};
}

Collisions::Step Collisions::CompareWith(CtrlTable::Access& table, Comparison& comparison,
                                         CtrlTable::Record record) {
  const Identity& heard = comparison.heard.controller;
  if (record->ctrlType == VC) {
    if (!platform::LocaleEqual(record->systemID, heard.systemID)) return Step::Next;
    trace_.Error(L"LanSeek: System ID collision between RC %s and local VC %s. SysID:%s", heard.ctrlAddress,
                 record->ctrlAddress, heard.systemID);
    Note("virtual", *record, heard);
    return Step::Drop;
  }
  if (!record->Dynamic() && platform::LocaleEqual(record->ctrlAddress, heard.ctrlAddress)) {
    if (const auto step = CompareWithDefinition(table, comparison, record)) return *step;
  }
  if (!record->Available()) return Step::Next;
  return Apply(table, comparison, record, Judge(*record, comparison.heard));
}

/// Compares with a configured or added record at the message's own address.
std::optional<Collisions::Step> Collisions::CompareWithDefinition(CtrlTable::Access& table,
                                                                  Comparison& comparison,
                                                                  CtrlTable::Record record) {
  const Identity& heard = comparison.heard.controller;
  const bool isStatic = record->identificationType == StaticCtrlDefinition;
  if (isStatic || comparison.heard.origin.source == MsgSource::FromNonLocalSocket) {
    if (heard.ctrlType == RemoteVC) {
      trace_.Error(L"LanSeek: Non-local handling of remote VC not supported. IP %s", heard.ctrlAddress);
      return Step::Drop;
    }
    comparison.match = record;
    comparison.heard.isConfigured |= isStatic;
    return std::nullopt;
  }
  // An added controller was found by broadcast, so polling it is no longer necessary.
  if (record->Available()) {
    table.MakeDynamic(record);
    controllers::CtrlState& state = table.Change(record);
    state.heardOnInterface = comparison.heard.origin.interfaceIndex;
    state.heardOnAddress = comparison.heard.origin.interfaceAddress;
    return std::nullopt;
  }
  // The controller returns at once as a new dynamic one, under a new id.
  table.Remove(record);
  comparison.replacesAdded = true;
  return Step::Next;
}

Collisions::Step Collisions::Apply(CtrlTable::Access& table, Comparison& comparison, CtrlTable::Record record,
                                   Verdict verdict) {
  const Identity& heard = comparison.heard.controller;
  const auto remove = [&](LanSeekEventReason reason, Step then) {
    lifecycle_.RemoveActiveCtrl(table, record, reason);
    return then;
  };
  switch (verdict) {
    case Verdict::GoOn: return Step::Next;
    case Verdict::Drop: return Step::Drop;
    case Verdict::Accept: comparison.match = record; return Step::Accept;
    case Verdict::AcceptAsRestarted:
      comparison.restarted = true;
      return remove(CtrlLostRestart, Step::Accept);
    case Verdict::RemoveRestarted: return remove(CtrlLostRestart, Step::Next);
    case Verdict::RemoveLost: return remove(CtrlLostConnection, Step::Next);
    case Verdict::RemoveReplaced: return remove(CtrlUpdated, Step::Next);
    case Verdict::AddressCollision:
      trace_.Error(L"LanSeek: IP-Address collision: IP:%s", heard.ctrlAddress);
      Note("address", *record, heard);
      return remove(CtrlLostIPAddressCollision, Step::Drop);
    case Verdict::IdentityCollision:
      trace_.Error(L"LanSeek: System ID collision for %s and %s. SysID:%s", heard.ctrlAddress,
                   record->ctrlAddress, heard.systemID);
      Note("identity", *record, heard);
      return remove(CtrlLostSystemIdCollision, Step::Drop);
  }
  return Step::Drop;
}

void Collisions::Note(const char* kind, const controllers::CtrlInfo& known, const Identity& heard) {
  const auto party = [](const auto& controller, std::uint32_t lanSeekID) {
    return diagnostics::Journal::Party{lanSeekID, controller.ctrlName.Wide(), controller.ctrlAddress,
                                       controller.systemID, controller.macAddress};
  };
  journal_.Collided({0, kind, party(known, known.lanSeekID), party(heard, 0)});
}

}  // namespace kellanseek::engine
