#include "platform/DebugOutput.h"

#include <string>

#include "platform/win32/System.h"
#include "text/Utf8.h"

namespace kellanseek::platform {

namespace {

UniqueHandle StandardError() {
  HANDLE copy = nullptr;
  const HANDLE self = GetCurrentProcess();
  const HANDLE original = GetStdHandle(STD_ERROR_HANDLE);
  return DuplicateHandle(self, original, self, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS) != FALSE
             ? UniqueHandle(copy)
             : UniqueHandle();
}

/// The system's debugger output, which a viewer may be reading at any time, and a copy to the sink that
/// KELLANSEEK_TRACE selects.
class SystemDebugOutput final : public DebugOutput {
 public:
  SystemDebugOutput() {
    constexpr std::wstring_view kFilePrefix = L"file:";
    const std::wstring sink = EnvironmentText(L"KELLANSEEK_TRACE");
    if (sink == L"stderr") {
      copy_ = StandardError();
    } else if (sink.starts_with(kFilePrefix)) {
      const std::wstring path = sink.substr(kFilePrefix.size());
      copy_ = UniqueHandle(CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
  }

  bool Enabled() const override { return true; }

  void Write(std::wstring_view text) override {
    OutputDebugStringW(std::wstring(text).c_str());
    if (!copy_) return;
    const std::string bytes = text::ToUtf8(text);
    DWORD written = 0;
    WriteFile(copy_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  }

 private:
  UniqueHandle copy_;
};

}  // namespace

DebugOutput& ProcessDebugOutput() {
  static SystemDebugOutput output;
  return output;
}

}  // namespace kellanseek::platform
