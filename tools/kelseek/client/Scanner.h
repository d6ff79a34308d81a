#pragma once

#include <kellanseek/client.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/ScanSchedule.h"
#include "client/Session.h"
#include "protocol/Message.h"

namespace kellanseek::kelseek {

struct ScanResult {
  std::vector<client::Controller> controllers;  ///< In the order of their answers.
  std::uint64_t asked = 0;                      ///< Addresses, also those that the system refused to ask.
  std::uint64_t notSent = 0;                    ///< Of these, the refused ones.
  int error = 0;                                ///< The last refusal; see platform::TextOfError().
  bool stopped = false;                         ///< By the user, before its end.
};

/// The controller that has sent an answer. nullopt for another message.
std::optional<client::Controller> ControllerOf(const protocol::Message& message, platform::Ipv4 source);

/// Asks each address for its identity with a socket of its own, and collects the answers until `wait` after
/// the last question, or until the user stops the program. `progress` is called several times a second.
/// Throws CommandError if the system gives no socket.
ScanResult Scan(Session& session, ScanSchedule schedule, std::uint16_t port,
                std::chrono::duration<double> wait, const std::function<void(const ScanResult&)>& progress);

}  // namespace kellanseek::kelseek
