#include "platform/Process.h"

#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

constexpr DWORD kQueryAndRead = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;

/// A process may have exited with the code STILL_ACTIVE, so the process object is tested too where the rights
/// allow.
bool HasEnded(HANDLE process, DWORD processId) {
  DWORD exitCode = 0;
  if (GetExitCodeProcess(process, &exitCode) == FALSE) return false;
  if (exitCode != STILL_ACTIVE) return true;
  const UniqueHandle waitable(OpenProcess(SYNCHRONIZE, FALSE, processId));
  return waitable && WaitForSingleObject(waitable.get(), 0) == WAIT_OBJECT_0;
}

std::uint64_t CreationTime(HANDLE process) {
  FILETIME creation = {};
  FILETIME exit = {};
  FILETIME kernel = {};
  FILETIME user = {};
  if (GetProcessTimes(process, &creation, &exit, &kernel, &user) == FALSE) return 0;
  return (std::uint64_t{creation.dwHighDateTime} << 32) | creation.dwLowDateTime;
}

class Win32ProcessTable final : public ProcessTable {
 public:
  std::uint64_t StartStamp(std::uint32_t processId) override {
    const UniqueHandle process(OpenProcess(kQueryAndRead, FALSE, processId));
    if (!process || HasEnded(process.get(), processId)) return 0;
    return CreationTime(process.get());
  }

  bool IsRunning(std::uint32_t processId, std::uint64_t startStamp) override {
    const UniqueHandle process(OpenProcess(kQueryAndRead, FALSE, processId));
    if (!process || HasEnded(process.get(), processId)) return false;
    return startStamp == 0 || CreationTime(process.get()) == startStamp;
  }
};

}  // namespace

ProcessTable& SystemProcessTable() {
  static Win32ProcessTable table;
  return table;
}

std::uint32_t CurrentProcessId() { return GetCurrentProcessId(); }

}  // namespace kellanseek::platform
