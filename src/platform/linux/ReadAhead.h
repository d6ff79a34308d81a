#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/PendingDatagrams.h"
#include "platform/UdpSocket.h"
#include "platform/linux/BoundSocket.h"

namespace kellanseek::platform {

/// Copies datagrams out of the kernel in batches and returns them one at a time.
class ReadAheadReceiver : public DatagramReceiver {
 public:
  ReadAheadReceiver(const std::vector<UdpSocket*>& sockets, std::size_t capacity);
  ~ReadAheadReceiver() override;

  Received ReceiveOne(Event& stop, std::chrono::milliseconds timeout) override;

 private:
  struct Source {
    std::size_t socket{};
    const BoundSocket* bound = nullptr;
    BoundSocket::Source from;
  };
  struct Batch;

  /// Returns Nothing, WaitFailed, or Datagram if there may be something to read.
  Received WaitUntilReadable(Event& stop, std::chrono::milliseconds timeout);
  void ReadReady();
  void ReadAll();
  void ReadFrom(const Source& source);
  void Keep(const Source& source, unsigned index);

  std::size_t capacity_;
  std::vector<Source> sources_;
  std::unique_ptr<Batch> batch_;
  PendingDatagrams pending_;
};

}  // namespace kellanseek::platform
