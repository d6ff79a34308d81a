#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Thread.h"
#include "platform/UdpSocket.h"
#include "tests/support/SimulatedNetwork.h"
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

/// This host, in real time.
class System {
 public:
  static constexpr bool kLoopbackBroadcasts = KELLANSEEK_LOOPBACK_BROADCASTS;

  System() { EXPECT_EQ(Network().Startup(), 0); }
  ~System() { Network().Cleanup(); }

  platform::UdpNetwork& Network() { return platform::SystemUdpNetwork(); }
  milliseconds Now() const {
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
  }
  void SetLater(Event& event, milliseconds delay) {
    EXPECT_FALSE(setter_.Start("Setter", [&event, delay] {
      Event never(Event::Kind::ManualReset);
      platform::WaitForAny({&never}, delay);
      event.Set();
    }));
  }

 private:
  platform::Thread setter_;
};

/// A simulated host, in virtual time.
class Simulation {
 public:
  static constexpr bool kLoopbackBroadcasts = true;

  Simulation() { host_.Attach(0, "127.0.0.1", "255.0.0.0"); }

  platform::UdpNetwork& Network() { return host_; }
  milliseconds Now() const { return std::chrono::duration_cast<milliseconds>(network_.Now()); }
  void SetLater(Event& event, milliseconds delay) {
    network_.At(network_.Now() + delay, [&event] { event.Set(); });
  }

 private:
  SimulatedNetwork network_;
  SimulatedHost& host_ = network_.AddHost();
};

template <typename Backend>
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
    auto socket = backend_.Network().CreateSocket(error);
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
    return backend_.Network().CreateReceiver(std::move(sockets), kCapacity);
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

  platform::SocketError Send(const std::string& text) { return listener_->SendTo(text, address_, portA_); }
  Received Receive(milliseconds patience = kPatience) { return receiver_->ReceiveOne(stop_, patience); }
  void ExpectNext(DatagramReceiver& receiver, std::initializer_list<const char*> expected) {
    for (const char* const words : expected) EXPECT_EQ(Next(receiver), words);
  }

  Event stop_{Event::Kind::ManualReset};
  Backend backend_;
  const Ipv4 address_ = ParseIpv4("127.0.0.1");
  const Ipv4 mask_ = ParseIpv4("255.0.0.0");
  const Ipv4 broadcast_ = ParseIpv4("127.255.255.255");
  std::unique_ptr<UdpSocket> guard_;
  std::uint16_t portA_ = 0;
  std::uint16_t portB_ = 0;
  std::unique_ptr<UdpSocket> listener_;
  std::unique_ptr<DatagramReceiver> receiver_;
};

using Backends = ::testing::Types<System, Simulation>;
TYPED_TEST_SUITE(UdpSocketTest, Backends);

TYPED_TEST(UdpSocketTest, APortIsSharedOnlyIfAllSocketsReuseIt) {
  struct Case {
    bool firstReuses, secondReuses, works;
  };
  for (const Case& c : {Case{true, true, true}, Case{false, false, false}, Case{true, false, false}}) {
    const auto first = this->Socket();
    const auto second = this->Socket();
    if (c.firstReuses) first->SetReuseAddress();
    if (c.secondReuses) second->SetReuseAddress();
    EXPECT_EQ(first->Bind(this->address_, this->mask_, this->portB_), 0);
    EXPECT_EQ(second->Bind(this->address_, this->mask_, this->portB_) == 0, c.works)
        << c.firstReuses << c.secondReuses;
  }
}

TYPED_TEST(UdpSocketTest, DatagramsLeaveFromTheBoundAddressAndPort) {
  const auto sender = this->Listener(this->portB_);
  ASSERT_EQ(sender->SendTo("hello", this->address_, this->portA_), 0);
  const Received received = this->Receive();
  EXPECT_EQ(this->Words(received), "0:hello");
  EXPECT_TRUE(received.sourceIsIpv4);
  EXPECT_EQ(received.source, this->address_);
  EXPECT_EQ(received.sourcePort, this->portB_);
  EXPECT_NE(sender->SendTo(std::string(70000, 'x'), this->address_, this->portA_), 0);
}

TYPED_TEST(UdpSocketTest, TheByteAfterADatagramIsWritable) {
  const std::vector<std::string> texts = {std::string(this->kCapacity, 'a'), "", "b", std::string("n\0l", 3)};
  for (const std::string& text : texts) ASSERT_EQ(this->Send(text), 0);
  for (const std::string& text : texts) {
    const Received received = this->Receive();
    ASSERT_EQ(this->Words(received), "0:" + text) << "writing behind one datagram spoiled the next";
    received.text.data()[received.text.size()] = '#';
  }
}

TYPED_TEST(UdpSocketTest, AnOversizedDatagramIsAnErrorAndTheNextIsReceived) {
  for (const std::size_t size : {this->kCapacity + 1, std::size_t{1}, std::size_t{60000}, std::size_t{2}}) {
    ASSERT_EQ(this->Send(std::string(size, 'x')), 0);
  }
  const Received first = this->Receive();
  EXPECT_EQ(this->Words(first), "0:error");
  EXPECT_NE(first.error, 0);
  this->ExpectNext(*this->receiver_, {"0:x", "0:error", "0:xx"});
  EXPECT_EQ(this->NothingMore(*this->receiver_), "nothing");
}

TYPED_TEST(UdpSocketTest, TheFirstReadySocketOfTheSetComesFirst) {
  const auto early = this->Listener(this->portB_);
  const auto receiver = this->ReceiverOf({early.get(), this->listener_.get()});
  for (const char* text : {"1", "2", "3"}) ASSERT_EQ(this->Send(text), 0);
  for (const char* text : {"a", "b"}) ASSERT_EQ(early->SendTo(text, this->address_, this->portB_), 0);
  this->ExpectNext(*receiver, {"0:a", "0:b", "1:1", "1:2", "1:3"});
}

TYPED_TEST(UdpSocketTest, AWaitEndsAtItsTimeOutOrOnStopEvenIfDatagramsWait) {
  milliseconds begin = this->backend_.Now();
  EXPECT_EQ(this->Words(this->Receive(milliseconds(120))), "nothing");
  EXPECT_GE(this->backend_.Now() - begin, milliseconds(100));
  EXPECT_EQ(this->Words(this->Receive(milliseconds(0))), "nothing");

  begin = this->backend_.Now();
  this->backend_.SetLater(this->stop_, milliseconds(20));
  EXPECT_EQ(this->Words(this->Receive()), "nothing");
  EXPECT_LT(this->backend_.Now() - begin, this->kPatience / 2);

  this->stop_.Reset();
  for (const char* text : {"1", "2", "3"}) ASSERT_EQ(this->Send(text), 0);
  EXPECT_EQ(this->Words(this->Receive()), "0:1");
  this->stop_.Set();
  ASSERT_EQ(this->Send("4"), 0);
  this->ExpectNext(*this->receiver_, {"nothing", "nothing"});
  this->stop_.Reset();
  this->ExpectNext(*this->receiver_, {"0:2", "0:3", "0:4"});
}

TYPED_TEST(UdpSocketTest, KeepsTheOrderOfDatagramsAcrossReads) {
  int next = 0;
  // In portions that fit every system's buffers. The last datagram of each is left over while the next is
  // sent.
  for (int portion = 1; portion <= 200; ++portion) {
    for (int i = 0; i < 100; ++i) ASSERT_EQ(this->Send(std::to_string((portion - 1) * 100 + i)), 0);
    for (; next < portion * 100 - 1; ++next) {
      ASSERT_EQ(this->Words(this->Receive()), "0:" + std::to_string(next));
    }
  }
  EXPECT_EQ(this->Words(this->Receive()), "0:" + std::to_string(next));
  EXPECT_EQ(this->NothingMore(*this->receiver_), "nothing");
}

TYPED_TEST(UdpSocketTest, EverySocketOfAPortReceivesEachBroadcast) {
  const bool system = std::is_same_v<TypeParam, System>;
  if (system && UnderWine()) GTEST_SKIP() << "Wine delivers no broadcasts on the loopback";
  if (!TypeParam::kLoopbackBroadcasts) GTEST_SKIP() << "the loopback of this system carries no broadcasts";
  const auto first = this->Listener(this->portB_);
  const auto second = this->Listener(this->portB_);
  const auto receiver = this->ReceiverOf({first.get(), second.get(), this->listener_.get()});
  ASSERT_EQ(this->listener_->SendTo("all", this->broadcast_, this->portB_), 0);
  this->ExpectNext(*receiver, {"0:all", "1:all"});
  EXPECT_EQ(this->NothingMore(*receiver), "nothing");
}

TYPED_TEST(UdpSocketTest, BroadcastingRequiresSetBroadcast) {
  const auto socket = this->Socket();
  ASSERT_EQ(socket->Bind(this->address_, this->mask_, 0), 0);
  EXPECT_NE(socket->SendTo("all", this->broadcast_, this->portA_), 0);
}

}  // namespace
}  // namespace kellanseek::test
