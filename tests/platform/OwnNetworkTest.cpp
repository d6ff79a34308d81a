#include <gtest/gtest.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <netinet/udp.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "platform/Event.h"
#include "platform/HostProbe.h"
#include "platform/NetworkAddresses.h"
#include "platform/UdpSocket.h"
#include "platform/WireTap.h"
#include "platform/linux/Descriptor.h"

namespace kellanseek::test {
namespace {

using namespace platform;
using std::chrono::milliseconds;

constexpr milliseconds kPatience{20000};
constexpr std::uint16_t kPort = 5513;

/// Runs `check` in a child process whose network is its own and goes away with it.
void InOwnNetwork(void (*check)() noexcept) {
  constexpr int kNotPermitted = 77;
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);  // Ends the process even if it hangs or outlives its parent.
    if (unshare(CLONE_NEWNET) != 0) {
      const uid_t user = geteuid();
      if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) _exit(kNotPermitted);
      // The programs that it starts have rights over the network only as the superuser of that namespace.
      std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    // A system may permit the namespace and yet no change of its network.
    if (std::system("ip link set lo up") != 0) _exit(kNotPermitted);
    check();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotPermitted) GTEST_SKIP() << "no network of its own here";
  EXPECT_EQ(status, 0);
}

void TwoInterfacesOfOneSubnet() noexcept {
  // The routing table alone would send everything through the first.
  ASSERT_EQ(std::system("for each in a b; do ip link add name $each type veth peer name peer-$each &&"
                        " ip link set peer-$each up && ip link set dev $each up || exit; done;"
                        "ip address add 10.1.0.1/16 dev a && ip address add 10.1.0.2/16 dev b"),
            0);
  std::string why;
  const std::unique_ptr<WireTap> tap = OpenWireTap(why);
  ASSERT_TRUE(tap) << why;
  std::vector<std::unique_ptr<UdpSocket>> sockets;
  for (const char* address : {"10.1.0.1", "10.1.0.2"}) {
    SocketError error = 0;
    UdpSocket& socket = *sockets.emplace_back(SystemUdpNetwork().CreateSocket(error));
    ASSERT_EQ(socket.SetReuseAddress(), 0);
    ASSERT_EQ(socket.SetBroadcast(), 0);
    ASSERT_EQ(socket.Bind(ParseIpv4(address), ParseIpv4("255.255.0.0"), kPort), 0);
  }
  const std::vector<PortHolder> holders = HoldersOfUdpPort(kPort);
  EXPECT_EQ(holders.size(), 6U)
      << "each socket hears its own address, the subnet's broadcasts and all others";
  for (const PortHolder& each : holders) EXPECT_EQ(each.processId, static_cast<std::uint32_t>(getpid()));
  const auto receiver = SystemUdpNetwork().CreateReceiver({sockets[0].get(), sockets[1].get()}, 1000);
  Event stop(Event::Kind::ManualReset);
  for (const std::size_t own : {0U, 1U}) {
    for (const char* destination : {"10.1.255.255", "255.255.255.255"}) {
      SCOPED_TRACE(std::to_string(own) + " to " + destination);
      ASSERT_EQ(sockets[own]->SendTo("hello", ParseIpv4(destination), kPort), 0);
      WireDatagram sent;
      while (!sent.isOutgoing) ASSERT_TRUE(tap->Next(kPatience, sent));
      EXPECT_EQ(sent.interfaceIndex, InterfaceIndexOfName(own == 0 ? L"a" : L"b"));
      EXPECT_EQ(FormatIpv4(sent.source), own == 0 ? "10.1.0.1" : "10.1.0.2");
      EXPECT_EQ(FormatIpv4(sent.destination), destination);
      // The system shows every socket of the port what it broadcasts itself.
      const Received heard = receiver->ReceiveOne(stop, kPatience);
      ASSERT_EQ(heard.outcome, Received::Outcome::Datagram);
      EXPECT_EQ(heard.socket, own);
      EXPECT_EQ(receiver->ReceiveOne(stop, milliseconds(0)).outcome, Received::Outcome::Nothing);
    }
  }
}

TEST(OwnNetworkTest, BroadcastsOfOneSubnetGoAndComeByTheInterfaceOfTheirAddress) {
  InOwnNetwork(TwoInterfacesOfOneSubnet);
}

/// What a router sends back for a datagram between ports of this host that it cannot pass on.
struct Refusal {
  iphdr header{};
  icmphdr icmp{};
  iphdr refusedHeader{};
  udphdr refused{};
};

Refusal RefusalBy(Ipv4 router, const sockaddr_in& asker, const sockaddr_in& asked) {
  Refusal refusal;
  for (iphdr* header : {&refusal.header, &refusal.refusedHeader}) {
    header->version = IPVERSION;
    header->ihl = sizeof *header / 4;
    header->ttl = IPDEFTTL;
    header->saddr = header->daddr = asker.sin_addr.s_addr;
    header->protocol = IPPROTO_UDP;
  }
  refusal.header.protocol = IPPROTO_ICMP;
  refusal.header.saddr = router;
  refusal.refused.source = asker.sin_port;
  refusal.refused.dest = asked.sin_port;
  refusal.icmp.type = ICMP_DEST_UNREACH;
  refusal.icmp.code = ICMP_HOST_UNREACH;
  const auto words = std::bit_cast<std::array<std::uint16_t, sizeof refusal / 2>>(refusal);
  const auto sum = std::accumulate(words.begin() + sizeof refusal.header / 2, words.end(), std::uint32_t{0});
  refusal.icmp.checksum = static_cast<std::uint16_t>(~(sum + (sum >> 16)));
  return refusal;
}

void RouterThatRefuses() noexcept {
  sockaddr_in here{AF_INET, htons(kPort), {ParseIpv4("127.0.0.1")}, {}};
  const Descriptor asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(asked.get(), reinterpret_cast<const sockaddr*>(&here), sizeof here), 0);
  std::thread router([&] {
    char question[8];
    sockaddr_in asker{};
    socklen_t size = sizeof asker;
    recvfrom(asked.get(), question, sizeof question, 0, reinterpret_cast<sockaddr*>(&asker), &size);
    // Not an address of this host, or no router would be named.
    const Refusal refusal = RefusalBy(ParseIpv4("10.1.0.1"), asker, here);
    const Descriptor raw(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW));
    sendto(raw.get(), &refusal, sizeof refusal, 0, reinterpret_cast<const sockaddr*>(&asker), sizeof asker);
  });
  const Reply reply = Ask(here.sin_addr.s_addr, kPort, "ping", kPatience);
  router.join();
  EXPECT_EQ(reply.kind, Reply::Kind::HostUnreachable);
  EXPECT_EQ(reply.error, EHOSTUNREACH);
  EXPECT_EQ(FormatIpv4(reply.router), "10.1.0.1");
}

TEST(OwnNetworkTest, ARefusalTellsWhichRouterSentIt) { InOwnNetwork(RouterThatRefuses); }

}  // namespace
}  // namespace kellanseek::test
