#include "platform/NetworkAddresses.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "platform/win32/EventNative.h"
#include "platform/win32/System.h"

#include <iphlpapi.h>

namespace kellanseek::platform {

namespace {

/// The address table as the system lays it out, in a buffer that fits it.
class AddressTable {
 public:
  /// The system's result code; an empty table when the system has nothing to list.
  DWORD Load() {
    ULONG size = 0;
    DWORD result = GetIpAddrTable(nullptr, &size, FALSE);
    if (size == 0) return NO_ERROR;
    // The table may grow between the two calls.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      words_.assign(size / sizeof(DWORD) + 1, 0);
      result = GetIpAddrTable(Table(), &size, FALSE);
      if (result != ERROR_INSUFFICIENT_BUFFER) break;
    }
    return result;
  }

  std::vector<AddressRow> Rows() {
    std::vector<AddressRow> rows;
    if (words_.empty()) return rows;
    const MIB_IPADDRTABLE* const table = Table();
    rows.reserve(table->dwNumEntries);
    for (DWORD index = 0; index < table->dwNumEntries; ++index) {
      const MIB_IPADDRROW& row = table->table[index];
      rows.push_back({row.dwAddr, row.dwMask, row.dwIndex});
    }
    return rows;
  }

 private:
  static constexpr int kAttempts = 4;
  static_assert(alignof(MIB_IPADDRTABLE) <= alignof(DWORD));

  MIB_IPADDRTABLE* Table() { return reinterpret_cast<MIB_IPADDRTABLE*>(words_.data()); }

  std::vector<DWORD> words_;
};

class IpHelperAddresses final : public NetworkAddresses {
 public:
  std::optional<std::vector<AddressRow>> Addresses() override {
    AddressTable table;
    if (table.Load() != NO_ERROR) return std::nullopt;
    return table.Rows();
  }

  std::optional<InterfaceRow> Interface(std::uint32_t interfaceIndex) override {
    MIB_IFROW system = {};
    system.dwIndex = interfaceIndex;
    if (GetIfEntry(&system) != NO_ERROR) return std::nullopt;
    InterfaceRow row;
    row.adminStatus = system.dwAdminStatus;
    row.type = system.dwType;
    row.physicalAddressLength = std::min<std::size_t>(system.dwPhysAddrLen, MAXLEN_PHYSADDR);
    std::copy_n(system.bPhysAddr, row.physicalAddressLength, row.physicalAddress.begin());
    return row;
  }
};

/// One overlapped request for the next change. It is renewed as soon as it has ended, so that what happens until
/// the next wait ends that wait.
class IpHelperWatch final : public AddressChangeWatch {
 public:
  IpHelperWatch() : changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)), request_(new OVERLAPPED{}) {
    if (changed_) Ask();
  }

  ~IpHelperWatch() override {
    if (!changed_ || !outstanding_) return;
    const bool cancelled = CancelIPChangeNotify(request_.get()) != FALSE;
    // A request that the system does not let go of keeps its record and its event for ever.
    if (WaitForSingleObject(changed_.get(), cancelled ? kCancelMilliseconds : 0) != WAIT_OBJECT_0) {
      static_cast<void>(request_.release());
      static_cast<void>(new UniqueHandle(std::move(changed_)));
    }
  }

  bool Usable() const { return static_cast<bool>(changed_); }

  Outcome Wait(Event& stop, std::chrono::milliseconds timeout) override {
    const HANDLE handles[] = {stop.native().handle.get(), changed_.get()};
    constexpr std::chrono::milliseconds::rep kLongest = INFINITE - 1;
    const auto limit = std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, kLongest);
    if (!outstanding_) Ask();
    switch (WaitForMultipleObjects(2, handles, FALSE, static_cast<DWORD>(limit))) {
      case WAIT_OBJECT_0:
        return Outcome::Stopped;
      case WAIT_OBJECT_0 + 1:
        Ask();
        return Outcome::Changed;
      case WAIT_TIMEOUT:
        return Outcome::TimedOut;
      default:
        return Outcome::Failed;
    }
  }

 private:
  static constexpr DWORD kCancelMilliseconds = 1000;

  /// A refused request is asked for again at the next wait; until then the time-out does its work.
  void Ask() {
    ResetEvent(changed_.get());
    *request_ = {};
    request_->hEvent = changed_.get();
    HANDLE handle = nullptr;
    const DWORD result = NotifyAddrChange(&handle, request_.get());
    outstanding_ = result == ERROR_IO_PENDING || result == NO_ERROR;
  }

  UniqueHandle changed_;
  std::unique_ptr<OVERLAPPED> request_;
  bool outstanding_ = false;
};

}  // namespace

std::optional<std::uint32_t> InterfaceIndexOfName(const std::wstring& name) {
  NET_LUID luid = {};
  NET_IFINDEX index = 0;
  const bool found = ConvertInterfaceAliasToLuid(name.c_str(), &luid) == NO_ERROR &&
                     ConvertInterfaceLuidToIndex(&luid, &index) == NO_ERROR;
  if (!found) return std::nullopt;
  return index;
}

NetworkAddresses& SystemNetworkAddresses() {
  static IpHelperAddresses addresses;
  return addresses;
}

std::unique_ptr<AddressChangeWatch> WatchAddressChanges() {
  auto watch = std::make_unique<IpHelperWatch>();
  if (!watch->Usable()) return nullptr;
  return watch;
}

}  // namespace kellanseek::platform
