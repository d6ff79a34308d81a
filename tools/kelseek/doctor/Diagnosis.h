#pragma once

#include <string>
#include <vector>

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Draws the conclusions, in the order a technician would take. A pure function.
Findings Diagnose(const Facts& facts);

/// The most likely reason why nothing was found, as one sentence; empty if neither the report nor the
/// broadcasts of this host to itself show one.
std::string LikelyCause(const nlohmann::json& report, std::vector<Echo> echoes = {});

}  // namespace kellanseek::kelseek
