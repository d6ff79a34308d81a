#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "platform/Mutex.h"
#include "platform/NetworkAddresses.h"
#include "platform/win32/DatagramSocket.h"
#include "platform/win32/EventNative.h"
#include "platform/win32/System.h"

#include <iphlpapi.h>

namespace kellanseek::platform {

namespace {

constexpr DWORD kCancelMilliseconds = 1000;

/// A pending IP helper notification of the next address change. The system may write to the object at any
/// time while it is pending, so it must neither move nor be destroyed.
class ChangeRequest {
 public:
  ChangeRequest() : changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

  bool Usable() const { return static_cast<bool>(changed_); }
  HANDLE Changed() const { return changed_.get(); }

  /// Requests a notification. If the system refuses, nothing is reported until the next call.
  void Ask() {
    ResetEvent(changed_.get());
    overlapped_ = {};
    overlapped_.hEvent = changed_.get();
    HANDLE handle = nullptr;
    const DWORD result = NotifyAddrChange(&handle, &overlapped_);
    outstanding_ = result == ERROR_IO_PENDING || result == NO_ERROR;
  }
  bool Outstanding() const { return outstanding_; }

  /// Returns false if the system does not release the request.
  bool Cancel() {
    if (!outstanding_) return true;
    const bool cancelled = CancelIPChangeNotify(&overlapped_) != FALSE;
    outstanding_ = WaitForSingleObject(Changed(), cancelled ? kCancelMilliseconds : 0) != WAIT_OBJECT_0;
    return !outstanding_;
  }

 private:
  UniqueHandle changed_;
  OVERLAPPED overlapped_ = {};
  bool outstanding_ = false;
};

/// The same notification from Winsock.
class ListChangeRequest {
 public:
  ListChangeRequest() : changed_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    WSADATA data = {};
    started_ = WSAStartup(MAKEWORD(2, 2), &data) == 0;
    if (started_) socket_ = MakeDatagramSocket();
  }
  ~ListChangeRequest() {
    if (socket_ != INVALID_SOCKET) closesocket(socket_);
    if (started_) WSACleanup();
  }
  ListChangeRequest(const ListChangeRequest&) = delete;
  ListChangeRequest& operator=(const ListChangeRequest&) = delete;

  bool Usable() const { return changed_ && socket_ != INVALID_SOCKET; }
  HANDLE Changed() const { return changed_.get(); }

  void Ask() {
    ResetEvent(changed_.get());
    overlapped_ = {};
    overlapped_.hEvent = changed_.get();
    DWORD bytes = 0;
    const int result =
        WSAIoctl(socket_, SIO_ADDRESS_LIST_CHANGE, nullptr, 0, nullptr, 0, &bytes, &overlapped_, nullptr);
    outstanding_ = result == 0 || WSAGetLastError() == WSA_IO_PENDING;
  }
  bool Outstanding() const { return outstanding_; }

  /// Returns false if the system does not release the request.
  bool Cancel() {
    if (!outstanding_) return true;
    CancelIoEx(reinterpret_cast<HANDLE>(socket_), &overlapped_);
    closesocket(std::exchange(socket_, INVALID_SOCKET));
    outstanding_ = WaitForSingleObject(Changed(), kCancelMilliseconds) != WAIT_OBJECT_0;
    return !outstanding_;
  }

 private:
  UniqueHandle changed_;
  bool started_ = false;
  SOCKET socket_ = INVALID_SOCKET;
  OVERLAPPED overlapped_ = {};
  bool outstanding_ = false;
};

/// Requests that the system did not release. Later watches reuse them, so their number never exceeds that of
/// the watches alive at one time.
class KeptRequests {
 public:
  void Put(std::unique_ptr<ChangeRequest> request) {
    const MutexLock lock(mutex_);
    requests_.push_back(std::move(request));
  }
  /// Null if there is none.
  std::unique_ptr<ChangeRequest> Take() {
    const MutexLock lock(mutex_);
    if (requests_.empty()) return nullptr;
    auto request = std::move(requests_.back());
    requests_.pop_back();
    return request;
  }

 private:
  Mutex mutex_{LockOrder::AddressWatch};
  std::vector<std::unique_ptr<ChangeRequest>> requests_ GUARDED_BY(mutex_);
};

/// Never destroyed: the system may still write to the kept requests after the module has been unloaded.
KeptRequests& ProcessKeptRequests() {
  static auto* const kept = new KeptRequests;
  return *kept;
}

/// Uses both the IP helper and Winsock, because on some systems only one of them ever answers. A request is
/// renewed as soon as it completes, so a change between two waits ends the next one. The system cancels the
/// requests of a thread that ends, possibly the creator's; that sets the event, counts as a notice, and the
/// waiting thread renews the request.
class SystemWatch final : public AddressChangeWatch {
 public:
  explicit SystemWatch(std::unique_ptr<ChangeRequest> request)
      : request_(std::move(request)), listRequest_(std::make_unique<ListChangeRequest>()) {
    AskAgain();
  }
  ~SystemWatch() override {
    if (!request_->Cancel()) ProcessKeptRequests().Put(std::move(request_));
    if (!listRequest_->Cancel()) static_cast<void>(listRequest_.release());
  }

  Outcome Wait(Event& stop, Event& wake, std::chrono::milliseconds timeout) override {
    const HANDLE handles[] = {stop.native().handle.get(), wake.native().handle.get(), request_->Changed(),
                              listRequest_->Changed()};
    const DWORD count = listRequest_->Usable() ? 4 : 3;
    constexpr std::chrono::milliseconds::rep kLongest = INFINITE - 1;
    const auto limit = std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, kLongest);
    AskAgain();
    switch (WaitForMultipleObjects(count, handles, FALSE, static_cast<DWORD>(limit))) {
      case WAIT_OBJECT_0: return Outcome::Stopped;
      case WAIT_OBJECT_0 + 1: return Outcome::Woken;
      case WAIT_OBJECT_0 + 2: request_->Ask(); return Outcome::Changed;
      case WAIT_OBJECT_0 + 3: listRequest_->Ask(); return Outcome::Changed;
      case WAIT_TIMEOUT: return Outcome::TimedOut;
      default: return Outcome::Failed;
    }
  }

 private:
  /// Renews the requests that are not pending.
  void AskAgain() {
    if (!request_->Outstanding()) request_->Ask();
    if (listRequest_->Usable() && !listRequest_->Outstanding()) listRequest_->Ask();
  }

  std::unique_ptr<ChangeRequest> request_;
  std::unique_ptr<ListChangeRequest> listRequest_;
};

}  // namespace

std::unique_ptr<AddressChangeWatch> WatchAddressChanges() {
  auto request = ProcessKeptRequests().Take();
  if (!request) request = std::make_unique<ChangeRequest>();
  if (!request->Usable()) return nullptr;
  return std::make_unique<SystemWatch>(std::move(request));
}

}  // namespace kellanseek::platform
