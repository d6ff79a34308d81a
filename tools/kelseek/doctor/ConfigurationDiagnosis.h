#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Says what is wrong with the files, the ports and the registry file. A pure function.
void AppendConfigurationFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
