#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/UdpSocket.h"
#include "platform/linux/BoundSocket.h"

namespace kellanseek::platform {

/// Copies datagrams out of the kernel in batches and returns them one at a time. The kernel's default buffer
/// holds only some 250 small datagrams, so it must be emptied faster than they are handled.
class ReadAheadReceiver : public DatagramReceiver {
 public:
  ReadAheadReceiver(const std::vector<UdpSocket*>& sockets, std::size_t capacity);
  ~ReadAheadReceiver() override;

  Received ReceiveOne(Event& stop, std::chrono::milliseconds timeout) override;

 private:
  struct Source {
    std::size_t socket = 0;
    const BoundSocket* bound = nullptr;
    BoundSocket::Source from;
  };
  struct Pending {
    std::size_t socket = 0;
    std::size_t offset = 0;
    std::size_t length = 0;
    Ipv4 source = 0;
    std::uint16_t sourcePort = 0;
    bool sourceIsIpv4 = false;
    SocketError error = 0;
  };
  struct Batch;

  /// Returns Nothing, WaitFailed, or Datagram if there may be something to read.
  Received WaitUntilReadable(Event& stop, std::chrono::milliseconds timeout);
  void ReadReady();
  void DropHandedOn();
  void ReadFrom(const Source& source);
  void Keep(const Source& source, unsigned index);
  Received HandOn();

  std::size_t capacity_;
  std::vector<Source> sources_;
  std::unique_ptr<Batch> batch_;
  std::vector<Pending> pending_;
  std::vector<char> bytes_;
  std::size_t next_ = 0;           ///< Index of the first datagram in `pending_` not yet returned.
  std::size_t sinceLastRead_ = 0;  ///< Datagrams returned since the last read from the kernel.
};

}  // namespace kellanseek::platform
