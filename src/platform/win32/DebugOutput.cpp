#include "platform/DebugOutput.h"

#include <string>

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

/// The system's own channel: a debugger, or a viewer that may be opened at any time.
class SystemDebugOutput final : public DebugOutput {
 public:
  bool Enabled() const override { return true; }
  void Write(std::wstring_view text) override { OutputDebugStringW(std::wstring(text).c_str()); }
};

}  // namespace

DebugOutput& ProcessDebugOutput() {
  static SystemDebugOutput output;
  return output;
}

}  // namespace kellanseek::platform
