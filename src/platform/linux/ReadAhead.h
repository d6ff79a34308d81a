#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/UdpSocket.h"
#include "platform/linux/BoundSocket.h"

namespace kellanseek::platform {

/// Reads what the kernel has into memory of its own, many datagrams with one call, and hands them on one at a
/// time: a kernel's default buffer holds only some 250 small datagrams, so it must be emptied faster than
/// they are handled.
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

  /// Nothing, WaitFailed, or Datagram when there may be something to read.
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
  std::size_t next_ = 0;           ///< The first of `pending_` that has not been handed on.
  std::size_t sinceLastRead_ = 0;  ///< Handed on since the kernel was last asked.
};

}  // namespace kellanseek::platform
