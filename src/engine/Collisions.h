#pragma once

#include <optional>

#include "controllers/CtrlTable.h"
#include "diagnostics/Journal.h"
#include "diagnostics/Trace.h"
#include "engine/CollisionRules.h"
#include "engine/CtrlLifecycle.h"
#include "engine/MsgSource.h"
#include "protocol/Message.h"

namespace kellanseek::engine {

/// The result of the collision rules for a message.
struct CollisionVerdict {
  enum class Finding {
    Drop,           ///< Do not handle the message.
    NotChecked,     ///< Handle it. The rules do not apply; the caller looks up the controller itself.
    Unknown,        ///< Handle it. It is from no stored controller.
    ReplacesAdded,  ///< The same, and the record of a controller added by a client was removed in its favour.
    Known,          ///< Handle it. It is from the controller of `record`.
  };
  Finding finding;
  controllers::CtrlTable::Record record = {};
  bool undisputed = false;  ///< The record has all three keys of the message, and none before it has any.
};

/// Compares a received identity with every controller that shares its system identity, MAC address or
/// address: identifies its record, and detects two devices with one address or identity and controllers that
/// have restarted with others. Withdraws outdated and colliding records.
class Collisions {
 public:
  Collisions(CtrlLifecycle& lifecycle, diagnostics::Journal& journal, platform::DebugOutput& debugOutput);

  /// `heard` must have its address set.
  CollisionVerdict HandleCtrlCollisions(controllers::CtrlTable::Access& table, protocol::MessageType type,
                                        const controllers::Identity& heard, const MessageOrigin& origin);

 private:
  enum class Step { Next, Drop, Accept };
  /// The state of comparing one message with its related records.
  struct Comparison {
    Heard heard;
    controllers::CtrlTable::Record match = {};  ///< The last record found to be this controller, if any.
    bool restarted = false;                     ///< It has restarted, and its record is gone.
    bool replacesAdded = false;
  };

  bool HasRequiredFields(const controllers::Identity& heard) const;
  Step CompareWith(controllers::CtrlTable::Access& table, Comparison& comparison,
                   controllers::CtrlTable::Record record);
  /// Returns nothing if the record is to be compared by its identity, too.
  std::optional<Step> CompareWithDefinition(controllers::CtrlTable::Access& table, Comparison& comparison,
                                            controllers::CtrlTable::Record record);
  Step Apply(controllers::CtrlTable::Access& table, Comparison& comparison,
             controllers::CtrlTable::Record record, Verdict verdict);
  void Note(const char* kind, const controllers::CtrlInfo& known, const controllers::Identity& heard);

  CtrlLifecycle& lifecycle_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine
