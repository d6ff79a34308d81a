#pragma once

#include <nlohmann/json.hpp>

#include "doctor/Finding.h"
#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

/// The fault that explains why nobody is found on any network; null if there is none.
const Finding* CauseForAll(const Findings& findings, const nlohmann::json& report);

/// The fault that explains why a controller with this address is not found; null if there is none.
const Finding* CauseFor(platform::Ipv4 address, const Findings& findings, const nlohmann::json& report);

}  // namespace kellanseek::kelseek
