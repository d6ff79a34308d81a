#include "bench/Plant.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "protocol/MessageWriter.h"

namespace kellanseek::bench {
namespace {

/// A socket belongs to the namespace in which it is created, whichever thread uses it later.
int SocketInNamespace(const std::string& path) {
  int socket = -1;
  std::thread maker([&] {
    const int space = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (space < 0 || setns(space, CLONE_NEWNET) != 0) return;
    close(space);
    socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  });
  maker.join();
  if (socket < 0) throw std::runtime_error("no socket in the plant's namespace " + path);
  return socket;
}

}  // namespace

PlantSocket::PlantSocket(const std::string& namespacePath, const std::string& broadcast, std::uint16_t port)
    : descriptor_(SocketInNamespace(namespacePath)),
      address_(inet_addr(broadcast.c_str())),
      port_(htons(port)) {
  const int on = 1;
  setsockopt(descriptor_, SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
}

PlantSocket::~PlantSocket() { close(descriptor_); }

bool PlantSocket::Send(const std::string& datagram) const {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = port_;
  to.sin_addr.s_addr = address_;
  const auto sent = sendto(descriptor_, datagram.data(), datagram.size(), 0,
                           reinterpret_cast<const sockaddr*>(&to), sizeof to);
  return sent == static_cast<ssize_t>(datagram.size());
}

std::string IdentityDatagram(std::uint32_t i, std::uint32_t revision) {
  char fields[256];
  const std::uint32_t host = i + 10;
  std::snprintf(fields, sizeof fields,
                "1:Cell%u.%u;2:ctrl-%u;3:Line2;4:{7A1C-%u};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-%06x;"
                "e:10.77.%u.%u;c:0;f:2;10:5;11:1;",
                i, revision, i, i, i, host / 256, host % 256);
  using protocol::MessageWriter;
  return MessageWriter(MessageWriter::LengthDigits::Three, protocol::MessageType::CtrlInfoMsg)
      .Fields(fields)
      .Take();
}

std::uint64_t DroppedAt(std::uint16_t port) {
  std::ifstream table("/proc/thread-self/net/udp");
  std::string line;
  std::getline(table, line);
  std::uint64_t dropped = 0;
  char wanted[8];
  std::snprintf(wanted, sizeof wanted, ":%04X", port);
  while (std::getline(table, line)) {
    std::istringstream columns(line);
    std::vector<std::string> fields;
    for (std::string field; columns >> field;) fields.push_back(field);
    if (fields.size() > 12 && fields[1].ends_with(wanted)) dropped += std::stoull(fields.back());
  }
  return dropped;
}

}  // namespace kellanseek::bench
