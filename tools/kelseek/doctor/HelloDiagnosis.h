#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Says for each network in which directions broadcasts and questions by address get through. A pure
/// function.
void AppendHelloFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
