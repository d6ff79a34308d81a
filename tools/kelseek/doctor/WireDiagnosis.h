#pragma once

#include "doctor/Facts.h"
#include "doctor/Finding.h"

namespace kellanseek::kelseek {

/// Says what arrived at the network card and not at the component, and whose masks differ; without the right
/// to watch, in one remark what could not be seen. A pure function.
void AppendWireFindings(const Facts& facts, Findings& findings);

}  // namespace kellanseek::kelseek
