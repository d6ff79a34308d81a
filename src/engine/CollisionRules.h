#pragma once

#include <cstdint>

#include "controllers/CtrlInfo.h"
#include "engine/MsgSource.h"

namespace kellanseek::engine {

/// A received identity and its source.
struct Heard {
  const controllers::Identity& controller;
  const MessageOrigin& origin;
  bool isFullIdentity = false;
  bool isConfigured = false;  ///< The configuration file has a controller with this address.
};

/// The consequence of one stored, available controller for a message.
enum class Verdict : std::uint8_t {
  GoOn,               ///< None; the next record decides.
  Accept,             ///< The message is from this controller.
  AcceptAsRestarted,  ///< From this controller, which has restarted: withdraw it and add it anew.
  RemoveRestarted,    ///< A restart made the record outdated: withdraw it; the next record decides.
  RemoveLost,         ///< The controller has moved: withdraw the record; the next record decides.
  RemoveReplaced,     ///< The message's path is preferred: withdraw the record; the next record decides.
  Drop,               ///< The record's path is preferred: drop the message.
  AddressCollision,   ///< Two devices have one address: withdraw the record and drop the message.
  IdentityCollision,  ///< Two devices have one system identity: likewise.
};

/// Applies the collision rules to an available record that is no virtual controller of this host. A pure
/// function.
Verdict Judge(const controllers::CtrlInfo& known, const Heard& heard);

}  // namespace kellanseek::engine
