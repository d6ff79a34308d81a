#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Event.h"
#include "platform/Ipv4.h"
#include "platform/UdpSocket.h"
#include "protocol/MessageWriter.h"

namespace kellanseek::test {

/// A network that drops all sent datagrams and delivers those injected by the test.
class InjectedNetwork : public platform::UdpNetwork {
 public:
  /// Indexes of the sockets of a host with one interface.
  enum Socket : std::size_t { kRequest = 0, kResponse = 1, kNonLocal = 2 };

  /// A datagram of these fields, as a controller sends it.
  static std::string Datagram(int type, std::string_view fields) {
    using protocol::MessageWriter;
    return MessageWriter(MessageWriter::LengthDigits::TwoOrThree, static_cast<protocol::MessageType>(type))
        .Fields(fields)
        .Take();
  }

  void Inject(std::string datagram, std::string_view source, Socket socket = kResponse) {
    {
      const std::lock_guard lock(mutex_);
      waiting_.push_back({std::move(datagram), platform::ParseIpv4(source), socket});
    }
    arrived_.Set();
  }

  /// Makes the next `receptions` receptions and `broadcasts` broadcasts call `thrower`, which throws. Call it
  /// before the network is used.
  void Fail(std::function<void()> thrower, int receptions, int broadcasts) {
    thrower_ = std::move(thrower);
    receptionsThatFail_ = receptions;
    broadcastsThatFail_ = broadcasts;
  }
  /// Makes the next `count` waits for datagrams fail with error 88.
  void FailWaits(int count) { waitsThatFail_ = count; }
  enum class User { None, Receiver, Publisher };
  /// From now on this user of the sockets lingers for a moment during the stop and checks whether they are
  /// closed meanwhile.
  void Dawdle(User user) { dawdler_ = user; }
  // Each of these waits for at most ten seconds.
  bool WaitForPublication() { return Await(publishing_); }
  bool WaitForRequestByAddress() { return Await(askedByAddress_); }
  bool WaitUntilOpened() { return Await(opened_); }  ///< The sockets of a run.
  int ClosedInUse() const { return closedInUse_; }
  int OpenSockets() const { return openSockets_; }
  int DropsAsked() const { return dropsAsked_; }
  /// Refuses to bind sockets to this local address from now on; 0 for none.
  void Refuse(platform::Ipv4 address) { refused_ = address; }

  platform::SocketError Startup() override { return 0; }
  void Cleanup() override {}
  std::unique_ptr<platform::UdpSocket> CreateSocket(platform::SocketError& error) override {
    error = 0;
    return std::make_unique<SilentSocket>(*this);
  }
  std::unique_ptr<platform::DatagramReceiver> CreateReceiver(std::vector<platform::UdpSocket*>,
                                                             std::size_t capacity) override {
    return std::make_unique<Receiver>(*this, capacity);
  }
  bool IsExpectedSendError(platform::SocketError) const override { return false; }

 private:
  struct Waiting {
    std::string text;
    platform::Ipv4 source;
    std::size_t socket;
  };

  class SilentSocket : public platform::UdpSocket {
   public:
    explicit SilentSocket(InjectedNetwork& network) : network_(network) { ++network_.openSockets_; }
    ~SilentSocket() override {
      --network_.openSockets_;
      network_.closed_.Set();
    }
    platform::SocketError SetReuseAddress() override { return 0; }
    platform::SocketError SetBroadcast() override { return 0; }
    platform::SocketError Bind(platform::Ipv4 address, platform::Ipv4, std::uint16_t) override {
      // The non-local socket is bound last, after the refused interfaces have been dropped.
      if (address == 0) network_.opened_.Set();
      constexpr platform::SocketError kAddressNotAvailable = 99;
      return address != 0 && address == network_.refused_ ? kAddressNotAvailable : 0;
    }
    platform::SocketError SendTo(std::string_view text, platform::Ipv4, std::uint16_t) override {
      if (network_.broadcastsThatFail_-- > 0) network_.thrower_();
      if (text.ends_with(";11:3;")) {
        network_.publishing_.Set();
        network_.LookForClosing(User::Publisher);
      }
      return 0;
    }
    platform::SocketError TrySendTo(std::string_view, platform::Ipv4, std::uint16_t) override {
      network_.askedByAddress_.Set();
      return 0;
    }
    std::uint64_t DroppedBySystem() const override {
      ++network_.dropsAsked_;
      return 0;
    }

   private:
    InjectedNetwork& network_;
  };

  class Receiver : public platform::DatagramReceiver {
   public:
    Receiver(InjectedNetwork& network, std::size_t capacity) : network_(network), capacity_(capacity) {}
    platform::Received ReceiveOne(platform::Event& stop, std::chrono::milliseconds timeout) override {
      if (network_.receptionsThatFail_-- > 0) network_.thrower_();
      if (network_.waitsThatFail_-- > 0)
        return {.outcome = platform::Received::Outcome::WaitFailed, .error = 88};
      if (!network_.Take(current_)) {
        if (platform::WaitForAny({&stop, &network_.arrived_}, timeout).Signalled(0))
          network_.LookForClosing(User::Receiver);
        if (!network_.Take(current_)) return {};
      }
      constexpr platform::SocketError kTooLong = 90;
      if (current_.text.size() > capacity_)
        return {
            .outcome = platform::Received::Outcome::ReadError, .socket = current_.socket, .error = kTooLong};
      current_.text.push_back('\0');
      return {.outcome = platform::Received::Outcome::Datagram,
              .socket = current_.socket,
              .text = {current_.text.data(), current_.text.size() - 1},
              .source = current_.source,
              .sourceIsIpv4 = true};
    }

   private:
    InjectedNetwork& network_;
    const std::size_t capacity_;
    Waiting current_ = {};
  };

  static bool Await(platform::Event& event) {
    return platform::WaitForAny({&event}, std::chrono::seconds(10)).Signalled(0);
  }

  void LookForClosing(User user) {
    if (dawdler_ != user) return;
    if (platform::WaitForAny({&closed_}, std::chrono::milliseconds(100)).Signalled(0)) ++closedInUse_;
  }

  bool Take(Waiting& taken) {
    const std::lock_guard lock(mutex_);
    if (waiting_.empty()) return false;
    taken = std::move(waiting_.front());
    waiting_.pop_front();
    return true;
  }

  std::mutex mutex_;
  std::deque<Waiting> waiting_;
  platform::Event arrived_{platform::Event::Kind::AutoReset};
  platform::Event opened_{platform::Event::Kind::AutoReset};
  platform::Event askedByAddress_{platform::Event::Kind::AutoReset};
  platform::Event publishing_{platform::Event::Kind::AutoReset};
  platform::Event closed_{platform::Event::Kind::ManualReset};
  std::atomic<User> dawdler_ = User::None;
  std::atomic<int> closedInUse_ = 0;
  std::atomic<int> openSockets_ = 0;
  std::atomic<int> dropsAsked_ = 0;
  std::atomic<platform::Ipv4> refused_ = 0;
  std::function<void()> thrower_;
  std::atomic<int> receptionsThatFail_ = 0;
  std::atomic<int> waitsThatFail_ = 0;
  std::atomic<int> broadcastsThatFail_ = 0;
};

}  // namespace kellanseek::test
