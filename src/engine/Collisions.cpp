#include "engine/Collisions.h"

#include "platform/CodePage.h"
#include "protocol/Message.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

/// The address that every device of a kind has on its service port.
constexpr const wchar_t* kFixedAddress = L"192.168.125.1";

bool HasFixedAddress(const CtrlInfo& record) { return record.ctrlAddress == kFixedAddress; }

bool SameDescription(const CtrlInfo& left, const CtrlInfo& right) {
  return platform::LocaleEqual(left.ctrlID, right.ctrlID) &&
         platform::LocaleEqual(left.systemName, right.systemName) &&
         left.versionMajor == right.versionMajor && left.versionMinor == right.versionMinor &&
         left.versionRevision == right.versionRevision;
}

}  // namespace

Collisions::Collisions(CtrlLifecycle& lifecycle, platform::DebugOutput& debugOutput)
    : lifecycle_(lifecycle), trace_(debugOutput, kUnit) {}

bool Collisions::Usable(const CtrlInfo& pattern) const {
  if (pattern.ctrlAddress.empty()) {
    trace_.Error(L"LanSeek::HandleCtrlCollisions. No source address in message!");
    return false;
  }
  if (pattern.systemID.empty() || pattern.macAddress.empty()) {
    trace_.Error(L"LanSeek::HandleCtrlCollisions. Unsufficent data in message from %s!", pattern.ctrlAddress);
    return false;
  }
  return true;
}

CollisionVerdict Collisions::HandleCtrlCollisions(CtrlTable::Access& table, std::uint32_t messageType,
                                                  const CtrlInfo& pattern, MsgSource source) {
  using Finding = CollisionVerdict::Finding;
  if (source == MsgSource::FromRequestSocket || source == MsgSource::FromLocalVC)
    return {Finding::NotChecked};
  if (source != MsgSource::FromResponseSocket && source != MsgSource::FromNonLocalSocket) {
    trace_.Error(L"LanSeek. Internal error HandleCtrlCollisions. Unknown detection type %d",
                 static_cast<std::int32_t>(source));
    return {Finding::Drop};
  }
  if (messageType != protocol::CtrlInfoMsg && messageType != protocol::CtrlAliveMsg)
    return {Finding::NotChecked};
  if (!Usable(pattern)) return {Finding::Drop};

  Walk walk{messageType, pattern, source};
  // Every rule needs a shared identity, MAC address or address; a step removes no record but its own.
  for (const CtrlTable::Record position : table.Related(pattern)) {
    const Step step = Examine(table, walk, position);
    if (step == Step::Drop) return {Finding::Drop};
    if (step == Step::Accept) break;
  }
  if (walk.matched) return {Finding::Known, walk.match};
  if (source == MsgSource::FromNonLocalSocket && !walk.accepted) {
    trace_.Error(L"LanSeek: Message from static handling (%s) does not match any known controller!",
                 pattern.ctrlAddress);
    return {Finding::Drop};
  }
  return {Finding::Unknown, {}, walk.replacesAdded};
}

Collisions::Step Collisions::GiveWay(CtrlTable::Access& table, CtrlTable::Record position,
                                     LanSeekEventReason reason) {
  lifecycle_.RemoveActiveCtrl(table, position, reason);
  return Step::Next;
}

Collisions::Step Collisions::RefuseRemoteVC(const CtrlInfo& pattern) const {
  trace_.Error(L"LanSeek: Non-local handling of remote VC not supported. IP %s", pattern.ctrlAddress);
  return Step::Drop;
}

Collisions::Step Collisions::Examine(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position) {
  const CtrlInfo& pattern = walk.pattern;
  if (position->ctrlType == VC) {
    if (!platform::LocaleEqual(position->systemID, pattern.systemID)) return Step::Next;
    trace_.Error(L"LanSeek: System ID collision between RC %s and local VC %s. SysID:%s", pattern.ctrlAddress,
                 position->ctrlAddress, pattern.systemID);
    return Step::Drop;
  }
  bool removed = false;
  if (!position->Dynamic() && platform::LocaleEqual(position->ctrlAddress, pattern.ctrlAddress)) {
    const Step step = ExamineDefinition(table, walk, position, removed);
    if (step != Step::Next || removed) return step;
  }
  if (!position->Available()) return Step::Next;
  return ExamineIdentity(table, walk, position);
}

/// A configured record at the message's own address.
Collisions::Step Collisions::ExamineDefinition(CtrlTable::Access& table, Walk& walk,
                                               CtrlTable::Record position, bool& removed) {
  const CtrlInfo& pattern = walk.pattern;
  const bool isStatic = position->identificationType == StaticCtrlDefinition;
  if (isStatic || walk.source == MsgSource::FromNonLocalSocket) {
    if (pattern.ctrlType == RemoteVC) return RefuseRemoteVC(pattern);
    walk.Match(position);
    walk.staticMatch |= isStatic;
    return Step::Next;
  }
  if (position->Available()) {
    table.MakeDynamic(position);
    CtrlState& record = table.Change(position);
    record.heardOnInterface = pattern.heardOnInterface;
    record.heardOnAddress = pattern.heardOnAddress;
    return Step::Next;
  }
  // It comes back at once as a new dynamic controller, under a new id.
  table.Remove(position);
  removed = true;
  walk.replacesAdded = true;
  return Step::Next;
}

Collisions::Step Collisions::ExamineIdentity(CtrlTable::Access& table, Walk& walk,
                                             CtrlTable::Record position) {
  const CtrlInfo& pattern = walk.pattern;
  const bool sameSystemID = platform::LocaleEqual(position->systemID, pattern.systemID);
  const bool sameMac = platform::LocaleEqual(position->macAddress, pattern.macAddress);
  const bool sameAddress = platform::LocaleEqual(position->ctrlAddress, pattern.ctrlAddress);

  if (sameAddress && !sameMac) {
    trace_.Error(L"LanSeek: IP-Address collision: IP:%s", pattern.ctrlAddress);
    lifecycle_.RemoveActiveCtrl(table, position, CtrlLostIPAddressCollision);
    return Step::Drop;
  }
  if (sameMac && !sameAddress)
    return GiveWay(table, position, pattern.ctrlType == RC ? CtrlLostRestart : CtrlLostConnection);
  if (sameMac && sameSystemID) return SameController(table, walk, position);
  if (sameMac) return pattern.ctrlType == RC ? GiveWay(table, position, CtrlLostRestart) : Step::Next;
  if (sameSystemID) return SameSystemID(table, walk, position);
  return Step::Next;
}

Collisions::Step Collisions::SameController(CtrlTable::Access& table, Walk& walk,
                                            CtrlTable::Record position) {
  walk.accepted = true;
  const std::uint32_t port = walk.pattern.commPortNumber;
  if (port != 0 && port != position->commPortNumber) {
    lifecycle_.RemoveActiveCtrl(table, position, CtrlLostRestart);
  } else {
    walk.Match(position);
  }
  return Step::Accept;
}

/// The same system identity on another device at another address.
Collisions::Step Collisions::SameSystemID(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position) {
  const CtrlInfo& pattern = walk.pattern;
  if (pattern.heardOnAddress != 0 && pattern.heardOnAddress == position->heardOnAddress) {
    return SystemIDCollision(table, walk, position);
  }
  if (walk.messageType == protocol::CtrlInfoMsg && position->published &&
      !SameDescription(*position, pattern)) {
    return SystemIDCollision(table, walk, position);
  }
  return WhoSurvives(table, walk, position);
}

/// The same controller seen over two paths.
Collisions::Step Collisions::WhoSurvives(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position) {
  if (position->identificationType == StaticCtrlDefinition) return Step::Drop;
  if (!walk.staticMatch) {
    if (HasFixedAddress(*position)) return Step::Drop;
    if (HasFixedAddress(walk.pattern)) return GiveWay(table, position, CtrlUpdated);
    if (walk.source == MsgSource::FromResponseSocket) return Step::Drop;
    if (position->identificationType == RemoteCtrlDefinition) return Step::Drop;
  }
  return GiveWay(table, position, CtrlUpdated);
}

Collisions::Step Collisions::SystemIDCollision(CtrlTable::Access& table, Walk& walk,
                                               CtrlTable::Record position) {
  trace_.Error(L"LanSeek: System ID collision for %s and %s. SysID:%s", walk.pattern.ctrlAddress,
               position->ctrlAddress, walk.pattern.systemID);
  lifecycle_.RemoveActiveCtrl(table, position, CtrlLostSystemIdCollision);
  return Step::Drop;
}

}  // namespace kellanseek::engine
