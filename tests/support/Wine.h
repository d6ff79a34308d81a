#pragma once

#include <cstdlib>

namespace kellanseek::test {

/// Whether the tests run under Wine, according to the build. docs/windows.md lists its differences from
/// Windows.
inline bool UnderWine() { return std::getenv("KELLANSEEK_UNDER_WINE") != nullptr; }

}  // namespace kellanseek::test
