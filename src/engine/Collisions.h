#pragma once

#include "controllers/CtrlTable.h"
#include "diagnostics/Trace.h"
#include "engine/CollisionRules.h"
#include "engine/CtrlLifecycle.h"
#include "engine/MsgSource.h"
#include "protocol/Message.h"

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

  /// `heard` has its address set.
  CollisionVerdict HandleCtrlCollisions(CtrlTable::Access& table, protocol::MessageType type,
                                        const Identity& heard, const MessageOrigin& origin);

 private:
  enum class Step { Next, Drop, Accept };
  /// One message on its way along the records that are related to it.
  struct Comparison {
    Heard heard;
    CtrlTable::Record match = {};  ///< The latest record that is this controller, if any.
    bool accepted = false;         ///< One of them ended the comparison.
    bool replacesAdded = false;
  };

  bool HasRequiredFields(const Identity& heard) const;
  Step CompareWith(CtrlTable::Access& table, Comparison& comparison, CtrlTable::Record record);
  Step CompareWithDefinition(CtrlTable::Access& table, Comparison& comparison, CtrlTable::Record record,
                             bool& removed);
  Step Apply(CtrlTable::Access& table, Comparison& comparison, CtrlTable::Record record, Verdict verdict);
  Step RemoveAndGoOn(CtrlTable::Access& table, CtrlTable::Record record, LanSeekEventReason reason);
  Step RemoveAndDrop(CtrlTable::Access& table, CtrlTable::Record record, LanSeekEventReason reason);
  Step RefuseRemoteVC(const Identity& heard) const;

  CtrlLifecycle& lifecycle_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine
