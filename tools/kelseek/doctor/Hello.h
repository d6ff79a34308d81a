#pragma once

#include <vector>

#include "doctor/Facts.h"

namespace kellanseek::kelseek {

/// Says hello on every network in use, and to the addresses, and returns what `kelsim --hello` of other hosts
/// made of it. Takes up to three seconds. Needs a SocketLibrary.
std::vector<HelloFacts> SayHello(const nlohmann::json& report, const std::vector<platform::Ipv4>& addresses);

}  // namespace kellanseek::kelseek
