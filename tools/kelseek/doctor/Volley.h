#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "doctor/Facts.h"
#include "platform/Event.h"

namespace kellanseek::kelseek {

struct Target {
  std::string who;
  platform::Ipv4 address = 0;
};

/// Asks each of the controllers five times at once by its address and measures the answers. Returns when all
/// have answered, or after the time-out. Returns one entry per target, in their order. Needs a SocketLibrary;
/// `never` is an event that is not set.
std::vector<Answers> AskFiveTimes(const std::vector<Target>& targets, std::uint16_t port,
                                  std::chrono::milliseconds timeout, platform::Event& never);

}  // namespace kellanseek::kelseek
