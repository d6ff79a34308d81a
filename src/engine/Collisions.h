#pragma once

#include <cstdint>

#include "controllers/CtrlTable.h"
#include "diagnostics/Trace.h"
#include "engine/CtrlLifecycle.h"
#include "engine/MsgSource.h"

namespace kellanseek::engine {

/// What the collision rules make of a message.
struct CollisionVerdict {
  enum class Finding {
    Drop,        ///< The message is not to be handled.
    NotChecked,  ///< Handle it; the rules do not apply, the caller looks the controller up itself.
    Unknown,     ///< Handle it; no stored controller is this one.
    Known,       ///< Handle it; `record` is this controller.
  };
  Finding finding = Finding::Drop;
  CtrlTable::Record record = {};
  bool replacesAdded = false;  ///< The record of a controller that a client added has made way for this one.
};

/// Compares a controller's self-description with every controller that shares its identity, MAC address or
/// address: finds out which one it is, whether two devices share an address or an identity, and whether a
/// known one has restarted with others. What is outdated or colliding is withdrawn.
class Collisions {
 public:
  Collisions(CtrlLifecycle& lifecycle, platform::DebugOutput& debugOutput);

  /// `pattern` has its address and interface set.
  CollisionVerdict HandleCtrlCollisions(CtrlTable::Access& table, std::uint32_t messageType,
                                        const CtrlInfo& pattern, MsgSource source);

 private:
  enum class Step { Next, Drop, Accept };
  struct Walk {
    std::uint32_t messageType;
    const CtrlInfo& pattern;
    MsgSource source;
    bool staticMatch = false;
    bool accepted = false;  ///< The walk ended with the controller itself.
    bool matched = false;
    bool replacesAdded = false;
    CtrlTable::Record match = {};

    void Match(CtrlTable::Record record) {
      matched = true;
      match = record;
    }
  };

  bool Usable(const CtrlInfo& pattern) const;
  Step Examine(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step ExamineDefinition(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position, bool& removed);
  Step ExamineIdentity(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step SameController(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step SameSystemID(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step WhoSurvives(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step SystemIDCollision(CtrlTable::Access& table, Walk& walk, CtrlTable::Record position);
  Step RefuseRemoteVC(const CtrlInfo& pattern) const;
  Step GiveWay(CtrlTable::Access& table, CtrlTable::Record position, LanSeekEventReason reason);

  CtrlLifecycle& lifecycle_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine
