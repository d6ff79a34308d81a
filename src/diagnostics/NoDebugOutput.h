#pragma once

#include <string_view>

#include "platform/DebugOutput.h"

namespace kellanseek::diagnostics {

/// A sink that discards traces.
class NoDebugOutput final : public platform::DebugOutput {
 public:
  bool Enabled() const override { return false; }
  void Write(std::wstring_view) override {}
};

}  // namespace kellanseek::diagnostics
