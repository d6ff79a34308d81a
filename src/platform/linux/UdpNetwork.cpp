#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "platform/UdpSocket.h"
#include "platform/linux/BoundSocket.h"
#include "platform/linux/ReadAhead.h"

namespace kellanseek::platform {
namespace {

class BerkeleyNetwork : public UdpNetwork {
 public:
  SocketError Startup() override { return 0; }
  void Cleanup() override {}

  std::unique_ptr<UdpSocket> CreateSocket(SocketError& error) override {
    Descriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!descriptor) {
      error = errno;
      return nullptr;
    }
    return std::make_unique<BoundSocket>(std::move(descriptor));
  }

  std::unique_ptr<DatagramReceiver> CreateReceiver(std::vector<UdpSocket*> sockets,
                                                   std::size_t capacity) override {
    return std::make_unique<ReadAheadReceiver>(sockets, capacity);
  }

  bool IsExpectedSendError(SocketError error) const override {
    return error == EADDRNOTAVAIL || error == EHOSTUNREACH || error == ENETUNREACH;
  }
};

}  // namespace

UdpNetwork& SystemUdpNetwork() {
  static BerkeleyNetwork network;
  return network;
}

}  // namespace kellanseek::platform
