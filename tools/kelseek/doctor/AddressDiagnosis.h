#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Says for each address that was asked or is expected what stands between it and this host. A pure function.
void AppendAddressFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
