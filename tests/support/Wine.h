#pragma once

#include <cstdlib>

namespace kellanseek::test {

/// Whether the tests run under Wine, which differs from Windows in places; the build says so. docs/windows.md
/// has the list.
inline bool UnderWine() { return std::getenv("KELLANSEEK_UNDER_WINE") != nullptr; }

}  // namespace kellanseek::test
