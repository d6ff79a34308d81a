#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/PendingDatagrams.h"
#include "platform/Thread.h"
#include "platform/UdpSocket.h"
#include "tests/support/Wine.h"

namespace kellanseek::test {
namespace {

using platform::DatagramReceiver;
using platform::Event;
using platform::Ipv4;
using platform::ParseIpv4;
using platform::Received;
using platform::UdpSocket;
using std::chrono::milliseconds;
using Outcome = Received::Outcome;

/// Starts the system's network during its lifetime.
struct SystemNetwork {
  SystemNetwork() { EXPECT_EQ(network.Startup(), 0); }
  ~SystemNetwork() { network.Cleanup(); }
  platform::UdpNetwork& network = platform::SystemUdpNetwork();
};

class UdpSocketTest : public ::testing::Test {
 protected:
  static constexpr std::size_t kCapacity = 1000;
  static constexpr milliseconds kPatience{10000};  ///< For datagrams that must arrive.
  static constexpr milliseconds kShort{50};        ///< For datagrams that must not arrive.

  /// A receiver's result as text: "0:text", "1:error", "nothing", ...
  static std::string Words(const Received& received) {
    switch (received.outcome) {
      case Outcome::Nothing: return "nothing";
      case Outcome::StrangeSocket: return "strange";
      case Outcome::WaitFailed: return "failed";
      case Outcome::ReadError: return std::to_string(received.socket) + ":error";
      case Outcome::Datagram: break;
    }
    return std::to_string(received.socket) + ":" + std::string(received.text.begin(), received.text.end());
  }

  std::unique_ptr<UdpSocket> Socket() {
    platform::SocketError error = -1;
    auto socket = system_.network.CreateSocket(error);
    EXPECT_NE(socket.get(), nullptr) << error;
    return socket;
  }
  std::unique_ptr<UdpSocket> Listener(std::uint16_t port) {
    auto socket = Socket();
    EXPECT_EQ(socket->SetReuseAddress(), 0);
    EXPECT_EQ(socket->SetBroadcast(), 0);
    EXPECT_EQ(socket->Bind(address_, mask_, port), 0);
    return socket;
  }
  std::unique_ptr<DatagramReceiver> ReceiverOf(std::vector<UdpSocket*> sockets) {
    return system_.network.CreateReceiver(std::move(sockets), kCapacity);
  }
  std::string Next(DatagramReceiver& receiver) { return Words(receiver.ReceiveOne(stop_, kPatience)); }
  std::string NothingMore(DatagramReceiver& receiver) { return Words(receiver.ReceiveOne(stop_, kShort)); }

  /// Reserves two ports for this test and creates a receiver at the first. Test processes take ports in
  /// groups of four; the process that holds the first of a group owns the others.
  void SetUp() override {
    std::random_device random;
    do {
      portA_ = static_cast<std::uint16_t>(20000 + random() % 3000 * 4);
      guard_ = Socket();
    } while (guard_->Bind(address_, mask_, portA_++) != 0);
    portB_ = static_cast<std::uint16_t>(portA_ + 1);
    listener_ = Listener(portA_);
    receiver_ = ReceiverOf({listener_.get()});
  }

  /// Whatever failed before, a send that succeeds returns 0.
  platform::SocketError Send(const std::string& text) {
    errno = EBUSY;
    return listener_->SendTo(text, address_, portA_);
  }
  Received Receive(milliseconds patience = kPatience) { return receiver_->ReceiveOne(stop_, patience); }
  void ExpectNext(DatagramReceiver& receiver, std::initializer_list<const char*> expected) {
    for (const char* const words : expected) EXPECT_EQ(Next(receiver), words);
  }

  Event stop_{Event::Kind::ManualReset};
  SystemNetwork system_;
  const Ipv4 address_ = ParseIpv4("127.0.0.1");
  const Ipv4 mask_ = ParseIpv4("255.0.0.0");
  const Ipv4 broadcast_ = ParseIpv4("127.255.255.255");
  std::unique_ptr<UdpSocket> guard_;
  std::uint16_t portA_ = 0;
  std::uint16_t portB_ = 0;
  std::unique_ptr<UdpSocket> listener_;
  std::unique_ptr<DatagramReceiver> receiver_;
};

TEST_F(UdpSocketTest, APortIsSharedOnlyIfAllSocketsReuseIt) {
  struct Case {
    bool firstReuses, secondReuses, works;
  };
  for (const Case& c : {Case{true, true, true}, Case{false, false, false}, Case{true, false, false}}) {
    const auto first = Socket();
    const auto second = Socket();
    if (c.firstReuses) first->SetReuseAddress();
    if (c.secondReuses) second->SetReuseAddress();
    EXPECT_EQ(first->Bind(address_, mask_, portB_), 0);
    EXPECT_EQ(second->Bind(address_, mask_, portB_) == 0, c.works) << c.firstReuses << c.secondReuses;
  }
}

TEST_F(UdpSocketTest, DatagramsLeaveFromTheBoundAddressAndPort) {
  const auto sender = Listener(portB_);
  ASSERT_EQ(sender->SendTo("hello", address_, portA_), 0);
  const Received received = Receive();
  EXPECT_EQ(Words(received), "0:hello");
  EXPECT_TRUE(received.sourceIsIpv4);
  EXPECT_EQ(received.source, address_);
  EXPECT_EQ(received.sourcePort, portB_);
  EXPECT_NE(sender->SendTo(std::string(70000, 'x'), address_, portA_), 0);
}

TEST_F(UdpSocketTest, TheByteAfterADatagramIsWritable) {
  const std::vector<std::string> texts = {std::string(kCapacity, 'a'), "", "b", std::string("n\0l", 3)};
  for (const std::string& text : texts) ASSERT_EQ(Send(text), 0);
  for (const std::string& text : texts) {
    const Received received = Receive();
    ASSERT_EQ(Words(received), "0:" + text) << "writing behind one datagram spoiled the next";
    received.text.data()[received.text.size()] = '#';
  }
}

TEST_F(UdpSocketTest, AnOversizedDatagramIsAnErrorAndTheNextIsReceived) {
  for (const std::size_t size : {kCapacity + 1, std::size_t{1}, std::size_t{60000}, std::size_t{2}}) {
    ASSERT_EQ(Send(std::string(size, 'x')), 0);
  }
  const Received first = Receive();
  EXPECT_EQ(Words(first), "0:error");
  EXPECT_NE(first.error, 0);
  ExpectNext(*receiver_, {"0:x", "0:error", "0:xx"});
  EXPECT_EQ(NothingMore(*receiver_), "nothing");
}

TEST_F(UdpSocketTest, TheFirstReadySocketOfTheSetComesFirst) {
  const auto early = Listener(portB_);
  const auto receiver = ReceiverOf({early.get(), listener_.get()});
  for (const char* text : {"1", "2", "3"}) ASSERT_EQ(Send(text), 0);
  for (const char* text : {"a", "b"}) ASSERT_EQ(early->SendTo(text, address_, portB_), 0);
  ExpectNext(*receiver, {"0:a", "0:b", "1:1", "1:2", "1:3"});
}

TEST_F(UdpSocketTest, AWaitEndsAtItsTimeOutOrOnStopEvenIfDatagramsWait) {
  using Clock = std::chrono::steady_clock;
  Clock::time_point begin = Clock::now();
  EXPECT_EQ(Words(Receive(milliseconds(120))), "nothing");
  EXPECT_GE(Clock::now() - begin, milliseconds(100));
  EXPECT_EQ(Words(Receive(milliseconds(0))), "nothing");

  begin = Clock::now();
  platform::Thread setter;
  ASSERT_FALSE(setter.Start("Setter", [this] {
    Event never(Event::Kind::ManualReset);
    platform::WaitForAny({&never}, milliseconds(20));
    stop_.Set();
  }));
  EXPECT_EQ(Words(Receive()), "nothing");
  EXPECT_LT(Clock::now() - begin, kPatience / 2);

  stop_.Reset();
  for (const char* text : {"1", "2", "3"}) ASSERT_EQ(Send(text), 0);
  EXPECT_EQ(Words(Receive()), "0:1");
  stop_.Set();
  ASSERT_EQ(Send("4"), 0);
  ExpectNext(*receiver_, {"nothing", "nothing"});
  stop_.Reset();
  ExpectNext(*receiver_, {"0:2", "0:3", "0:4"});
}

TEST_F(UdpSocketTest, KeepsTheOrderOfDatagramsAcrossReads) {
  int next = 0;
  // In portions that fit every system's buffers. The last datagram of each is left over while the next is
  // sent.
  for (int portion = 1; portion <= 200; ++portion) {
    for (int i = 0; i < 100; ++i) ASSERT_EQ(Send(std::to_string((portion - 1) * 100 + i)), 0);
    for (; next < portion * 100 - 1; ++next) {
      ASSERT_EQ(Words(Receive()), "0:" + std::to_string(next));
    }
  }
  EXPECT_EQ(Words(Receive()), "0:" + std::to_string(next));
  EXPECT_EQ(NothingMore(*receiver_), "nothing");
}

TEST(PendingDatagramsTest, DatagramsThatComeAloneShareOnePlaceAndABacklogIsBounded) {
  platform::PendingDatagrams pending;
  std::set<const char*> places;
  for (int i = 0; i < 100; ++i) {
    pending.BeginRead();
    pending.Keep({}, "alone");
    places.insert(pending.HandOn().text.data());
  }
  EXPECT_EQ(places.size(), 1U) << "what was handed on is gone";
  for (int i = 0; i < 8192; ++i) {
    EXPECT_FALSE(pending.Full()) << i;
    pending.Keep({}, "waits");
  }
  EXPECT_TRUE(pending.Full());
}

TEST_F(UdpSocketTest, EverySocketOfAPortReceivesEachBroadcast) {
  if (UnderWine()) GTEST_SKIP() << "Wine delivers no broadcasts on the loopback";
  if (!KELLANSEEK_LOOPBACK_BROADCASTS) GTEST_SKIP() << "the loopback of this system carries no broadcasts";
  const auto first = Listener(portB_);
  const auto second = Listener(portB_);
  const auto receiver = ReceiverOf({first.get(), second.get(), listener_.get()});
  ASSERT_EQ(listener_->SendTo("all", broadcast_, portB_), 0);
  ExpectNext(*receiver, {"0:all", "1:all"});
  EXPECT_EQ(NothingMore(*receiver), "nothing");
}

TEST_F(UdpSocketTest, BroadcastingRequiresSetBroadcast) {
  const auto socket = Socket();
  ASSERT_EQ(socket->Bind(address_, mask_, 0), 0);
  EXPECT_NE(socket->SendTo("all", broadcast_, portA_), 0);
}

}  // namespace
}  // namespace kellanseek::test
