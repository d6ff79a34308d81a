#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Says what the component received and could not use, and whether its list gets full. A pure function.
void AppendReceptionFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
