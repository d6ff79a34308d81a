#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <kellanseek/KelLanSeek.h>

#include "platform/HostProbe.h"
#include "platform/Terminal.h"
#include "platform/linux/HostProbeParts.h"
#include "platform/linux/WirePacket.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::test {
namespace {

using namespace platform;
using namespace std::string_literals;

/// "from:port>to:port payload" if the packet is read.
std::string Read(const std::string& packet, int kind = PACKET_OUTGOING, unsigned short hardware = 1) {
  const auto shortKind = static_cast<unsigned char>(kind);
  std::string record = std::string(kLinkHeaderBytes, 'x') + packet;
  const auto read = ReadPacket({AF_PACKET, 0, 7, hardware, shortKind, 6, {2, 3, 4, 5, 6, 7, 8, 9}}, record);
  if (!read) return "none";
  const std::string link = "\0"s + static_cast<char>(kind) + "\0\1\0\6\2\3\4\5\6\7\0\0\x08\0"s;
  EXPECT_EQ(read->captured, link + packet);
  EXPECT_EQ(read->isOutgoing, kind == PACKET_OUTGOING);
  EXPECT_EQ(read->interfaceIndex, 7U);
  return FormatIpv4(read->source) + ":" + std::to_string(read->sourcePort) + ">" +
         FormatIpv4(read->destination) + ":" + std::to_string(read->destinationPort) + " " +
         std::string(read->payload);
}

TEST(WirePacketTest, ReadsUdpDatagramsAndNothingElse) {
  const std::string ip = "\x45\0\0\0\0\0\0\0\x40\x11\0\0\x0a\1\0\2\x0a\1\xff\xff"s;
  const std::string udp = "\x15\x88\x15\x89\0\x0a\0\0"s;
  const auto with = [](std::string bytes, std::size_t at, char value) {
    return bytes.replace(at, 1, 1, value);
  };
  const std::string ends = "10.1.0.2:5512>10.1.255.255:5513 ";
  EXPECT_EQ(Read(ip + udp + "hi"), ends + "hi");
  EXPECT_EQ(Read(ip + udp + "hi\0\0"s, PACKET_BROADCAST), ends + "hi") << "padded by the card";
  EXPECT_EQ(Read(ip + udp + "h"), ends + "h") << "cut by the capture";
  EXPECT_EQ(Read(ip + with(udp, 5, 7)), ends) << "states less than its header";
  EXPECT_EQ(Read(with(ip, 0, 0x46) + "\x94\4\0\0"s + udp + "hi"), ends + "hi") << "options";
  EXPECT_EQ(Read(with(ip, 6, 0x60) + udp + "hi"), ends + "hi") << "first fragment, or not to be split";
  for (const std::string& other :
       {with(ip, 7, 1) + udp /* a later fragment */, with(ip, 9, 6) + udp, with(ip, 0, 0x65) + udp,
        with(ip, 0, 0x44) + udp, with(ip, 0, 0x4F) + udp, ip.substr(0, 19), ip + udp.substr(0, 7)})
    EXPECT_EQ(Read(other), "none") << testing::PrintToString(other);
  EXPECT_EQ(Read(ip + udp, PACKET_LOOPBACK) + Read(ip + udp, PACKET_OUTGOING, 772), "nonenone");
}

TEST(HostProbePartsTest, ReadsTheTablesOfTheSystem) {
  const std::string arp =
      "IP address HW type Flags HW address Mask Device\n10.1.0.2 0x1 0x2 02:00:00:00:00:01 * eth0\n"
      "10.1.0.3 0x1 0x0 00:00:00:00:00:00 * eth1\nbroken line\n";
  EXPECT_EQ(NeighbourStateIn(arp, ParseIpv4("10.1.0.2")), NeighbourState::Answered);
  EXPECT_EQ(NeighbourStateIn(arp, ParseIpv4("10.1.0.3")), NeighbourState::Silent);
  EXPECT_EQ(NeighbourStateIn(arp, 4), NeighbourState::Unknown);
  EXPECT_EQ(NeighbourLinesIn(arp), "10.1.0.2 02:00:00:00:00:01 on eth0\n10.1.0.3 does not answer on eth1\n");
  EXPECT_EQ(RouteLinesIn("Iface Destination Gateway Flags RefCnt Use Metric Mask\n"
                         "eth0 0000010A 0100020A 0003 0 0 100 0000FFFF 0 0 0\neth1 0000\n"
                         "* 0000A8C0 00000000 0200 0 0 5 0000FFFF 0 0 0\n"),
            "10.1.0.0 mask 255.255.0.0 by way of 10.2.0.1 on eth0 metric 100\n"
            "192.168.0.0 mask 255.255.0.0 refused on * metric 5\n");
}

TEST(HostProbePartsTest, TheMachinesRegistryFileIsPassedOverForAnother) {
  const ScratchDirectory scratch;
  scratch.Write("all",
                "[HKEY_CLASSES_ROOT\\CLSID\\" + com::GuidText(CLSID_KelLanSeek) + "\\InprocServer32]\n@=so");
  const auto text = [&](const char* read, const char* machine) {
    const RegistryFiles files = RegistryFilesAmong(scratch.File(read), scratch.File(machine));
    return files.module + "|" + files.passedOver + "|" + files.passedOverModule;
  };
  EXPECT_EQ(text("own", "all"), "|" + scratch.File("all") + "|so");
  EXPECT_EQ(text("all", "all"), "so||");
  EXPECT_EQ(text("all", "missing"), "so||");
}

TEST(HostProbeTest, AsksThisHostAndFindsItsOwnProgram) {
  const Ipv4 here = ParseIpv4("127.0.0.1");
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_addr.s_addr = here;
  socklen_t length = sizeof own;
  const ResourceUse before = ResourcesOfProcess();
  std::uint64_t open = 0;
  for (int each = 0; each < 1024; ++each) open += fcntl(each, F_GETFD) != -1 ? 1U : 0U;
  EXPECT_EQ(before.openFiles, open);
  const int peer = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(ResourcesOfProcess().openFiles, before.openFiles + 1);
  ASSERT_EQ(bind(peer, reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
  getsockname(peer, reinterpret_cast<sockaddr*>(&own), &length);
  const std::uint16_t port = ntohs(own.sin_port);

  const std::vector<PortHolder> holders = HoldersOfUdpPort(port);
  ASSERT_EQ(holders.size(), 1U);
  EXPECT_EQ(holders[0].address, here);
  EXPECT_EQ(holders[0].processId, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(holders[0].program, "platform_test");
  EXPECT_EQ(RouteTo(here).kind, Route::Kind::Local);
  EXPECT_EQ(RouteTo(here).source, here);

  EXPECT_EQ(Ask(here, port, "ping", std::chrono::milliseconds(0)).kind, Reply::Kind::Silent);
  std::thread answers([&] {
    char question[8];
    sockaddr_in from{};
    for (int i = 0; i < 2; ++i) {
      socklen_t size = sizeof from;
      recvfrom(peer, question, sizeof question, 0, reinterpret_cast<sockaddr*>(&from), &size);
    }
    poll(nullptr, 0, 20);
    sendto(peer, "pong", 4, 0, reinterpret_cast<sockaddr*>(&from), sizeof from);
  });
  const Reply reply = Ask(here, port, "ping", std::chrono::seconds(20));
  answers.join();
  EXPECT_EQ(reply.kind, Reply::Kind::Answer);
  EXPECT_EQ(reply.datagram, "pong");
  EXPECT_GE(reply.delay, std::chrono::milliseconds(20));
  EXPECT_LT(reply.delay, std::chrono::seconds(20));
  close(peer);
  const Reply closed = Ask(here, port, "ping", std::chrono::seconds(20));
  EXPECT_EQ(closed.kind, Reply::Kind::PortClosed);
  EXPECT_EQ(closed.error, ECONNREFUSED);
  EXPECT_EQ(closed.router, 0U) << "no router is on the way";
  EXPECT_EQ(Ask(0xFFFFFFFF, port, "ping", std::chrono::seconds(20)).kind, Reply::Kind::SendRefused);
}

/// Run in a child process: exits with 0 if a terminal of its own behaves.
[[noreturn]] void UseTerminal() {
  alarm(20);
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  bool fine = unlockpt(master) == 0;
  // The leader of a session takes the first terminal that it opens for its own.
  setsid();
  const int slave = open(ptsname(master), O_RDWR);
  const winsize size{24, 80, 0, 0};
  ioctl(slave, TIOCSWINSZ, &size);
  setenv("TERM", "xterm", 1);
  for (const int stream : {0, 1}) dup2(slave, stream);
  const auto check = [&](const char* what, bool holds) {
    if (!holds) std::cerr << what << " fails\n";
    fine &= holds;
  };
  const auto mode = [](termios now = {}) { return tcgetattr(0, &now) == 0 && (now.c_lflag & ICANON) != 0; };
  check("taking part", TerminalIsInteractive());
  {
    InteractiveTerminal terminal("enter", "leave");
    const auto look = [&] { return terminal.Wait({}, std::chrono::milliseconds(0)); };
    check("silence", look() == TerminalWake::TimedOut && !mode());
    for (const char* key : {"q", "\r", "\x1a", "\x1c"})
      check("key", write(master, key, 1) == 1 && terminal.Wait({}, std::nullopt) == TerminalWake::Input &&
                       terminal.Read() == key);
    raise(SIGWINCH);
    check("resizing", look() == TerminalWake::Resized && look() == TerminalWake::TimedOut);
    check("restoring", terminal.Restore() && mode() && terminal.Restore());
  }
  const InteractiveTerminal terminal("", "gone");
  RestoreTerminalAtOnce();
  check("restoring at once", mode());
  RestoreTerminalAtOnce();
  check("output", write(1, ".", 1) == 1);
  std::string shown;
  for (char byte = 0; byte != '.' && read(master, &byte, 1) == 1;) shown += byte;
  check(shown.c_str(), shown == "enterleavegone.");
  _exit(fine ? 0 : 1);
}

TEST(TerminalDeathTest, IsUsedAndGivenBack) { EXPECT_EXIT(UseTerminal(), testing::ExitedWithCode(0), ""); }

}  // namespace
}  // namespace kellanseek::test
