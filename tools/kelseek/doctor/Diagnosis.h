#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Draws the conclusions, in the order a technician would take. A pure function.
Findings Diagnose(const Facts& facts);

/// The most likely reason why nothing was found, as one sentence; empty if the report shows none.
std::string LikelyCause(const nlohmann::json& report);

}  // namespace kellanseek::kelseek
