#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Names controllers that answer slowly or lose answers. A pure function.
void AppendAnswerFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
