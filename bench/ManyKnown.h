#pragma once

#include "bench/Measuring.h"

namespace kellanseek::bench {

/// Memory, look-ups, a list and the idle engine with 10,000 known controllers.
void TenThousandKnown(const Setting& setting);

/// How many datagrams of known controllers are handled a second, alone and beside four clients that read
/// without a pause, and by a bare loop beside four threads that are as busy.
void BesideReaders(const Setting& setting);

}  // namespace kellanseek::bench
