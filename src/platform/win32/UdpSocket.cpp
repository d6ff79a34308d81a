#include "platform/UdpSocket.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <utility>

#include "platform/PendingDatagrams.h"
#include "platform/win32/DatagramSocket.h"
#include "platform/win32/SocketWaker.h"
#include "platform/win32/System.h"

namespace kellanseek::platform {

namespace {

sockaddr_in SocketAddress(Ipv4 address, std::uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = address;
  result.sin_port = htons(port);
  return result;
}

/// A non-blocking socket, so that a receiver can read until nothing is left. The system itself delivers to a
/// bound socket the unicasts to its address and the broadcasts of its interface.
class WinsockSocket final : public UdpSocket {
 public:
  explicit WinsockSocket(SOCKET socket) : socket_(socket) {}
  ~WinsockSocket() override { closesocket(socket_); }
  WinsockSocket(const WinsockSocket&) = delete;
  WinsockSocket& operator=(const WinsockSocket&) = delete;

  SOCKET Socket() const { return socket_; }

  SocketError SetReuseAddress() override { return Enable(SO_REUSEADDR); }
  SocketError SetBroadcast() override { return Enable(SO_BROADCAST); }

  SocketError Bind(Ipv4 address, Ipv4 /*mask*/, std::uint16_t port) override {
    const sockaddr_in local = SocketAddress(address, port);
    return Outcome(bind(socket_, reinterpret_cast<const sockaddr*>(&local), sizeof local));
  }

  SocketError SendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
    SocketError error = TrySendTo(bytes, destination, port);
    while (error == kNoRoom) {
      fd_set writable = {};
      FD_SET(socket_, &writable);
      if (select(0, nullptr, &writable, nullptr, nullptr) == SOCKET_ERROR) return WSAGetLastError();
      error = TrySendTo(bytes, destination, port);
    }
    return error;
  }

  SocketError TrySendTo(std::string_view bytes, Ipv4 destination, std::uint16_t port) override {
    const sockaddr_in remote = SocketAddress(destination, port);
    const int size = static_cast<int>(bytes.size());
    const int sent =
        sendto(socket_, bytes.data(), size, 0, reinterpret_cast<const sockaddr*>(&remote), sizeof remote);
    if (sent == size) return 0;
    if (sent != SOCKET_ERROR) return WSAEMSGSIZE;
    const SocketError error = WSAGetLastError();
    return error == WSAEWOULDBLOCK ? kNoRoom : error;
  }

 private:
  SocketError Enable(int option) {
    const int on = 1;
    return Outcome(setsockopt(socket_, SOL_SOCKET, option, reinterpret_cast<const char*>(&on), sizeof on));
  }
  static SocketError Outcome(int result) { return result == 0 ? 0 : WSAGetLastError(); }

  SOCKET socket_;
};

/// A set of any size for select: a count, then the handles, laid out like the system's fd_set.
class SocketSet {
 public:
  explicit SocketSet(std::size_t capacity) { words_.reserve(capacity + 1); }

  void Clear() {
    words_.resize(1);
    Native()->fd_count = 0;
  }
  void Add(SOCKET socket) {
    words_.push_back(socket);
    ++Native()->fd_count;
  }
  bool Contains(SOCKET socket) {
    const auto first = words_.begin() + 1;
    const auto last = first + static_cast<std::ptrdiff_t>(Native()->fd_count);
    return std::find(first, last, socket) != last;
  }
  bool Empty() { return Native()->fd_count == 0; }
  fd_set* Native() { return reinterpret_cast<fd_set*>(words_.data()); }

 private:
  static_assert(offsetof(fd_set, fd_array) == sizeof(SOCKET));
  static_assert(alignof(fd_set) <= alignof(SOCKET));
  std::vector<SOCKET> words_ = {0};
};

class SelectReceiver final : public DatagramReceiver {
 public:
  SelectReceiver(const std::vector<UdpSocket*>& sockets, std::size_t capacity)
      : ready_(sockets.size() + 1), buffer_(capacity) {
    sockets_.reserve(sockets.size());
    for (const UdpSocket* socket : sockets) {
      sockets_.push_back(static_cast<const WinsockSocket*>(socket)->Socket());
    }
  }

  Received ReceiveOne(Event& stop, std::chrono::milliseconds timeout) override {
    if (stop.TryWait()) return {};
    if (pending_.Empty()) {
      const Received waited = WaitUntilReadable(stop, timeout);
      if (waited.outcome != Received::Outcome::Datagram) return waited;
    }
    if (pending_.ReadIsDue()) {
      pending_.BeginRead();
      for (std::size_t i = 0; i < sockets_.size(); ++i) ReadFrom(i);
    }
    return pending_.HandOn();
  }

 private:
  /// Returns Nothing, WaitFailed, StrangeSocket, or Datagram if there is something to read.
  Received WaitUntilReadable(Event& stop, std::chrono::milliseconds timeout) {
    const AttachedWaker attached(stop, waker_);
    if (stop.TryWait()) return {};
    Received received;
    const int ready = WaitUntilReady(timeout);
    if (ready == SOCKET_ERROR) {
      received.outcome = Received::Outcome::WaitFailed;
      received.error = WSAGetLastError();
      return received;
    }
    if (ready == 0 || stop.TryWait()) return {};
    if (waker_.Usable() && ready_.Contains(waker_.Socket())) {
      waker_.Drain();
      if (ready_.Native()->fd_count == 1) return {};
    }
    const bool known = std::any_of(sockets_.begin(), sockets_.end(),
                                   [this](SOCKET socket) { return ready_.Contains(socket); });
    received.outcome = known ? Received::Outcome::Datagram : Received::Outcome::StrangeSocket;
    return received;
  }

  /// Returns the number of ready sockets, 0 after the time-out, or SOCKET_ERROR.
  int WaitUntilReady(std::chrono::milliseconds timeout) {
    ready_.Clear();
    for (const SOCKET socket : sockets_) ready_.Add(socket);
    if (waker_.Usable()) ready_.Add(waker_.Socket());
    const auto microseconds = std::chrono::microseconds(timeout).count();
    constexpr decltype(microseconds) kSecond = 1'000'000;
    timeval limit = {};
    limit.tv_sec = static_cast<long>(microseconds / kSecond);
    limit.tv_usec = static_cast<long>(microseconds % kSecond);
    return select(0, ready_.Native(), nullptr, nullptr, &limit);
  }

  void ReadFrom(std::size_t index) {
    while (!pending_.Full()) {
      sockaddr_in source = {};
      int sourceSize = sizeof source;
      const int length = recvfrom(sockets_[index], buffer_.data(), static_cast<int>(buffer_.size()), 0,
                                  reinterpret_cast<sockaddr*>(&source), &sourceSize);
      if (length == SOCKET_ERROR) {
        const SocketError error = WSAGetLastError();
        if (error == WSAEWOULDBLOCK) return;
        pending_.KeepError(index, error);
        // These belong to one datagram, sent or received; every other error may last.
        if (error != WSAEMSGSIZE && error != WSAECONNRESET) return;
        continue;
      }
      const bool isIpv4 = sourceSize == sizeof source && source.sin_family == AF_INET;
      pending_.Keep({index, source.sin_addr.s_addr, ntohs(source.sin_port), isIpv4},
                    {buffer_.data(), static_cast<std::size_t>(length)});
    }
  }

  SocketWaker waker_;
  std::vector<SOCKET> sockets_;
  SocketSet ready_;
  std::vector<char> buffer_;
  PendingDatagrams pending_;
};

class WinsockNetwork final : public UdpNetwork {
 public:
  SocketError Startup() override {
    WSADATA data = {};
    const SocketError error = WSAStartup(MAKEWORD(2, 2), &data);
    if (error != 0) ++failedStartups_;
    return error;
  }

  void Cleanup() override {
    // The library counts successful starts only, so the Cleanup() of a failed one must not reach it.
    int failed = failedStartups_.load();
    while (failed > 0) {
      if (failedStartups_.compare_exchange_weak(failed, failed - 1)) return;
    }
    WSACleanup();
  }

  std::unique_ptr<UdpSocket> CreateSocket(SocketError& error) override {
    const SOCKET handle = MakeDatagramSocket();
    error = handle == INVALID_SOCKET ? WSAGetLastError() : 0;
    if (handle == INVALID_SOCKET) return nullptr;
    auto socket = std::make_unique<WinsockSocket>(handle);
    u_long on = 1;
    // The header's macro is unsigned, its function's parameter is not.
    if (ioctlsocket(handle, static_cast<long>(FIONBIO), &on) == 0) return socket;
    error = WSAGetLastError();
    return nullptr;
  }

  std::unique_ptr<DatagramReceiver> CreateReceiver(std::vector<UdpSocket*> sockets,
                                                   std::size_t capacity) override {
    return std::make_unique<SelectReceiver>(sockets, capacity);
  }

  bool IsExpectedSendError(SocketError error) const override {
    return error == WSAEADDRNOTAVAIL || error == WSAEHOSTUNREACH;
  }

 private:
  std::atomic<int> failedStartups_ = 0;
};

}  // namespace

UdpNetwork& SystemUdpNetwork() {
  static WinsockNetwork network;
  return network;
}

}  // namespace kellanseek::platform
