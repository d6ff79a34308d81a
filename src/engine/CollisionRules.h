#pragma once

#include <cstdint>

#include "controllers/CtrlInfo.h"
#include "engine/MsgSource.h"

namespace kellanseek::engine {

/// A controller's account of itself, and how it was heard.
struct Heard {
  const Identity& controller;
  const MessageOrigin& origin;
  bool isFullIdentity = false;
  bool isConfigured = false;  ///< A record of the configuration file has this address.
};

/// What one stored, available controller means for a message.
enum class Verdict : std::uint8_t {
  GoOn,               ///< Nothing: the next record decides.
  Accept,             ///< The message is from this controller.
  AcceptAsRestarted,  ///< From this controller, too, but it has restarted: withdrawn, and added anew.
  RemoveRestarted,    ///< The record is outdated by a restart; the next record decides.
  RemoveLost,         ///< It is outdated because the controller has moved; the next record decides.
  RemoveReplaced,     ///< It gives way to the message's path; the next record decides.
  Drop,               ///< The message gives way to the record.
  AddressCollision,   ///< Two devices on one address: the record is withdrawn and the message dropped.
  IdentityCollision,  ///< Two devices with one system identity: likewise.
};

/// The collision rules for an available record that is no virtual controller of this host. Pure.
Verdict Judge(const CtrlInfo& known, const Heard& heard);

}  // namespace kellanseek::engine
