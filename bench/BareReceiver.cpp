#include "bench/BareReceiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace kellanseek::bench {
namespace {

int BoundSocket(std::uint16_t port) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_port = htons(port);
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&at), sizeof at) != 0) {
    throw std::runtime_error("the bare receiver cannot bind its port");
  }
  return descriptor;
}

}  // namespace

BareReceiver::BareReceiver(std::uint16_t requestPort, std::uint16_t responsePort, OnDatagram onWorker,
                           Loop loop)
    : sockets_{BoundSocket(requestPort), BoundSocket(responsePort)}, onWorker_(std::move(onWorker)) {
  receiver_ = std::thread([this, loop] {
    pthread_setname_np(pthread_self(), kThreadName);
    while (!stop_) loop == Loop::Select ? ReceiveOne() : ReceiveBatch();
  });
  if (onWorker_) worker_ = std::thread([this] { Work(); });
}

BareReceiver::~BareReceiver() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  queued_.notify_all();
  receiver_.join();
  if (worker_.joinable()) worker_.join();
  close(sockets_[0]);
  close(sockets_[1]);
}

void BareReceiver::ReceiveOne() {
  char buffer[1001];
  fd_set ready;
  FD_ZERO(&ready);
  for (const int descriptor : sockets_) FD_SET(descriptor, &ready);
  timeval timeout{0, 100000};
  if (select(std::max(sockets_[0], sockets_[1]) + 1, &ready, nullptr, nullptr, &timeout) <= 0) return;
  const int descriptor = FD_ISSET(sockets_[0], &ready) ? sockets_[0] : sockets_[1];
  sockaddr_in from{};
  socklen_t length = sizeof from;
  const auto got = recvfrom(descriptor, buffer, 1000, 0, reinterpret_cast<sockaddr*>(&from), &length);
  if (got > 0) HandOn(buffer, static_cast<std::size_t>(got));
}

void BareReceiver::ReceiveBatch() {
  constexpr unsigned kBatch = 64;
  constexpr std::size_t kCapacity = 1000;
  static thread_local char buffers[kBatch][kCapacity];
  pollfd ready[2] = {{sockets_[0], POLLIN, 0}, {sockets_[1], POLLIN, 0}};
  if (poll(ready, 2, 100) <= 0) return;
  for (const int descriptor : sockets_) {
    mmsghdr headers[kBatch] = {};
    iovec parts[kBatch];
    sockaddr_in sources[kBatch];
    for (unsigned i = 0; i < kBatch; ++i) {
      parts[i] = {buffers[i], kCapacity};
      headers[i].msg_hdr.msg_iov = &parts[i];
      headers[i].msg_hdr.msg_iovlen = 1;
      headers[i].msg_hdr.msg_name = &sources[i];
      headers[i].msg_hdr.msg_namelen = sizeof sources[i];
    }
    const int got = recvmmsg(descriptor, headers, kBatch, MSG_DONTWAIT, nullptr);
    for (int i = 0; i < got; ++i) HandOn(buffers[i], headers[i].msg_len);
  }
}

void BareReceiver::HandOn(const char* bytes, std::size_t size) {
  received_.fetch_add(1, std::memory_order_relaxed);
  if (!onWorker_) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.emplace_back(bytes, size);
  }
  queued_.notify_one();
}

void BareReceiver::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    queued_.wait(lock, [this] { return stop_ || !queue_.empty(); });
    if (queue_.empty()) return;
    queue_.pop_front();
    lock.unlock();
    onWorker_();
    lock.lock();
  }
}

}  // namespace kellanseek::bench
