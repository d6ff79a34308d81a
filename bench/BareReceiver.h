#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kellanseek::bench {

/// Baseline for the receive path: select and recvfrom over two sockets and, optionally, a queue and a worker
/// that takes each datagram from it.
class BareReceiver {
 public:
  using OnDatagram = std::function<void()>;

  /// Listens on the two ports of any address. If `onWorker` is empty, datagrams are only read.
  BareReceiver(std::uint16_t requestPort, std::uint16_t responsePort, OnDatagram onWorker);
  ~BareReceiver();
  BareReceiver(const BareReceiver&) = delete;
  BareReceiver& operator=(const BareReceiver&) = delete;

 private:
  void Receive();
  void Work();

  int sockets_[2] = {-1, -1};
  OnDatagram onWorker_;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<std::string> queue_;
  std::thread receiver_;
  std::thread worker_;
};

}  // namespace kellanseek::bench
