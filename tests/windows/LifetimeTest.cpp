#include <gtest/gtest.h>

#include <windows.h>
#include <winternl.h>

#include <psapi.h>
#include <tlhelp32.h>

#include <vector>

#include "ComponentModule.h"
#include "tests/support/Wine.h"

namespace {

using kellanseek::test::UnderWine;

/// The system resources of this process.
struct Holdings {
  std::size_t handles = 0;
  std::size_t threads = 0;
  std::size_t bytes = 0;
};

/// Wine does not count the handles of a process, but it lists those of the system.
std::size_t ListedHandles() {
  struct Entry {
    ULONG processId;
    BYTE type;
    BYTE flags;
    USHORT value;
    void* object;
    ULONG access;
  };
  struct Table {
    ULONG count;
    Entry entries[1];
  };
  constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
  std::vector<std::max_align_t> buffer((16U << 20) / sizeof(std::max_align_t));
  ULONG needed = 0;
  const NTSTATUS status =
      NtQuerySystemInformation(kSystemHandleInformation, buffer.data(),
                               static_cast<ULONG>(buffer.size() * sizeof(std::max_align_t)), &needed);
  if (status < 0) return 0;
  const auto* const table = reinterpret_cast<const Table*>(buffer.data());
  std::size_t count = 0;
  for (ULONG index = 0; index < table->count; ++index) {
    count += table->entries[index].processId == GetCurrentProcessId() ? 1 : 0;
  }
  return count;
}

std::size_t HandleCount() {
  if (UnderWine()) return ListedHandles();
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

std::size_t ThreadCount() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more != FALSE; more = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
  }
  CloseHandle(snapshot);
  return count;
}

std::size_t CommittedBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof counters;
  GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PagefileUsage;
}

Holdings Measure() { return {HandleCount(), ThreadCount(), CommittedBytes()}; }

class Lifetime : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(module_.Register(), S_OK); }
  void TearDown() override { module_.Unregister(); }

  void CreateAndRelease(int times) {
    for (int cycle = 0; cycle < times; ++cycle) {
      IKelLanSeek* seek = nullptr;
      ASSERT_EQ(CoCreateInstance(CLSID_KelLanSeek, nullptr, CLSCTX_INPROC_SERVER, IID_IKelLanSeek,
                                 reinterpret_cast<void**>(&seek)),
                S_OK);
      EXPECT_EQ(seek->Release(), 0U);
    }
  }

  ComponentModule module_;
};

TEST_F(Lifetime, AThousandObjectsLeakNothing) {
  CreateAndRelease(50);
  const Holdings before = Measure();
  CreateAndRelease(1000);
  const Holdings after = Measure();
  RecordProperty("handles", static_cast<int>(after.handles) - static_cast<int>(before.handles));
  RecordProperty("kilobytes", (static_cast<int>(after.bytes) - static_cast<int>(before.bytes)) / 1024);
  EXPECT_GT(before.handles, 0U);
  EXPECT_LE(after.handles, before.handles + 20);
  EXPECT_LE(after.threads, before.threads + 1);
  EXPECT_LE(after.bytes, before.bytes + (2U << 20));
  EXPECT_EQ(module_.CanUnloadNow(), S_OK);
}

}  // namespace
