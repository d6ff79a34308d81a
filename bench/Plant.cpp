#include "bench/Plant.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
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

bool PlantSocket::SendEqual(std::string_view datagrams, std::size_t size) const {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = port_;
  to.sin_addr.s_addr = address_;
  iovec part{const_cast<char*>(datagrams.data()), datagrams.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(std::uint16_t))] = {};
  msghdr message{};
  message.msg_name = &to;
  message.msg_namelen = sizeof to;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const segment = CMSG_FIRSTHDR(&message);
  segment->cmsg_level = SOL_UDP;
  segment->cmsg_type = UDP_SEGMENT;
  segment->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
  const auto each = static_cast<std::uint16_t>(size);
  std::memcpy(CMSG_DATA(segment), &each, sizeof each);
  return sendmsg(descriptor_, &message, 0) == static_cast<ssize_t>(datagrams.size());
}

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
  std::snprintf(fields, sizeof fields,
                "1:Cell%05u.%05u;2:ctrl-%05u;3:Line2;4:{7A1C-%05u};5:/hd0a/Line2;7:6;8:10;9:00-80-f4-%06x;"
                "e:10.77.%u.%u;c:0;f:2;10:5;11:1;",
                i, revision % 100000, i, i, i, 100 + i / 150, 100 + i % 150);
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
