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
  CtrlTable::Iterator record = {};
  bool replacesAdded = false;  ///< The record of a controller that a client added has made way for this one.
};

/// Compares a controller's self-description with every controller that shares its identity, MAC address or
/// address: finds out which one it is, whether two devices share an address or an identity, and whether a
/// known one has restarted with others. What is outdated or colliding is withdrawn.
class Collisions {
 public:
  Collisions(CtrlLifecycle& lifecycle, platform::DebugOutput& debugOutput);

  /// `pattern` has its address and interface set; the rules keep an answer of theirs in its ipAddress.
  CollisionVerdict HandleCtrlCollisions(CtrlTable& table, std::uint32_t messageType, CtrlInfo& pattern,
                                        MsgSource source) REQUIRES(table.TableMutex());

 private:
  enum class Step { Next, Drop, Accept };
  struct Walk {
    std::uint32_t messageType;
    CtrlInfo& pattern;
    MsgSource source;
    bool staticMatch = false;
    bool accepted = false;  ///< The walk ended with the controller itself.
    bool matched = false;
    bool replacesAdded = false;
    CtrlTable::Iterator match = {};

    void Match(CtrlTable::Iterator record) {
      matched = true;
      match = record;
    }
  };

  bool Usable(const CtrlInfo& pattern) const;
  Step Examine(CtrlTable& table, Walk& walk, CtrlTable::Iterator position) REQUIRES(table.TableMutex());
  Step ExamineDefinition(CtrlTable& table, Walk& walk, CtrlTable::Iterator position, bool& removed)
      REQUIRES(table.TableMutex());
  Step ExamineIdentity(CtrlTable& table, Walk& walk, CtrlTable::Iterator position)
      REQUIRES(table.TableMutex());
  Step SameController(CtrlTable& table, Walk& walk, CtrlTable::Iterator position)
      REQUIRES(table.TableMutex());
  Step SameSystemID(CtrlTable& table, Walk& walk, CtrlTable::Iterator position) REQUIRES(table.TableMutex());
  Step WhoSurvives(CtrlTable& table, Walk& walk, CtrlTable::Iterator position) REQUIRES(table.TableMutex());
  Step SystemIDCollision(CtrlTable& table, Walk& walk, CtrlTable::Iterator position)
      REQUIRES(table.TableMutex());
  Step RefuseRemoteVC(const CtrlInfo& pattern) const;
  Step GiveWay(CtrlTable& table, CtrlTable::Iterator position, LanSeekEventReason reason)
      REQUIRES(table.TableMutex());

  CtrlLifecycle& lifecycle_;
  diagnostics::Tracer trace_;
};

}  // namespace kellanseek::engine
