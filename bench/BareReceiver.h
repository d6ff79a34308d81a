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

/// Baseline for the receive path: a bare loop over two sockets and, optionally, a queue and a worker that
/// takes each datagram from it. The receiving thread is named kThreadName.
class BareReceiver {
 public:
  using OnDatagram = std::function<void()>;
  enum class Loop {
    Select,  ///< select and recvfrom for each datagram.
    Batch,   ///< poll, and recvmmsg until the sockets are empty.
  };
  static constexpr const char* kThreadName = "BareReceiver";

  /// Listens on the two ports of any address. If `onWorker` is empty, datagrams are only read.
  BareReceiver(std::uint16_t requestPort, std::uint16_t responsePort, OnDatagram onWorker,
               Loop loop = Loop::Select);
  ~BareReceiver();
  /// Datagrams read so far.
  std::uint64_t Received() const { return received_.load(std::memory_order_relaxed); }
  BareReceiver(const BareReceiver&) = delete;
  BareReceiver& operator=(const BareReceiver&) = delete;

 private:
  void ReceiveOne();
  void ReceiveBatch();
  void HandOn(const char* bytes, std::size_t size);
  void Work();

  int sockets_[2] = {-1, -1};
  OnDatagram onWorker_;
  std::atomic<bool> stop_{false};
  std::atomic<std::uint64_t> received_{0};
  std::mutex mutex_;
  std::condition_variable queued_;
  std::deque<std::string> queue_;
  std::thread receiver_;
  std::thread worker_;
};

}  // namespace kellanseek::bench
