#include "engine/Receiver.h"

#include <chrono>
#include <utility>

#include "platform/Ipv4.h"
#include "platform/Thread.h"
#include "protocol/Message.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

constexpr std::chrono::milliseconds kReceiveTimeout{1000};
constexpr std::chrono::milliseconds kAfterFailure{100};

/// Consecutive failed waits before a rebuild is requested (about a second), and before it is requested again
/// (about two minutes).
constexpr unsigned kFailedWaits = 10;
constexpr unsigned kFailedWaitsBetween = 1200;

/// The limit of the platform's wait for several sockets.
constexpr std::size_t kMaxInterfaceSockets = 64;

}  // namespace

Receiver::Receiver(const Parts& parts)
    : udp_(parts.udp),
      sockets_(parts.sockets),
      dispatcher_(parts.dispatcher),
      engineLock_(parts.engineLock),
      socketsReady_(parts.socketsReady),
      stopNetwork_(parts.stopNetwork),
      rebuildWanted_(parts.rebuildWanted),
      trace_(parts.debugOutput, kUnit),
      failed_(trace_, L"KelReceiver") {}

void Receiver::ReceiverThread() {
  // A stop may come before the sockets are open.
  if (!platform::WaitForAny({&stopNetwork_, &socketsReady_}).Signalled(1)) return;
  if (sockets_.Interfaces().Size() == 0 && sockets_.NonLocalSocket() == nullptr) return;

  ReceiveSet set;
  std::unique_ptr<platform::DatagramReceiver> receiver;
  const auto prepare = [&] {
    set = BuildReceiveSet();
    receiver = udp_.CreateReceiver(set.sockets, protocol::kMaxDatagram);
  };
  while (!platform::RunStep(prepare, failed_)) {
    if (!Rest()) return;
  }
  const auto receive = [&] {
    const platform::Received received = receiver->ReceiveOne(stopNetwork_, kReceiveTimeout);
    if (received.outcome == platform::Received::Outcome::WaitFailed) return OnFailedWait(received.error);
    // A wait ended by the stop does not show that the sockets work.
    if (!stopNetwork_.TryWait()) failedWaits_ = 0;
    Handle(received, set);
  };
  while (!stopNetwork_.TryWait()) {
    // Pauses after a failure, because otherwise this thread would retry endlessly at its raised priority.
    if (!platform::RunStep(receive, failed_)) Rest();
  }
}

/// A single failed wait may be chance. Sockets that keep failing receive again only after they are reopened.
/// This thread cannot do that, because it would have to wait for its own end.
void Receiver::OnFailedWait(platform::SocketError error) {
  if (++failedWaits_ % kFailedWaitsBetween == kFailedWaits) {
    rebuildWanted_.Set();
    trace_.Error(L"LanSeek: Waiting for datagrams failed. Error = %d", error);
  }
  Rest();
}

bool Receiver::Rest() {
  return platform::WaitForAny({&stopNetwork_}, kAfterFailure).outcome ==
         platform::WaitResult::Outcome::TimedOut;
}

Receiver::ReceiveSet Receiver::BuildReceiveSet() const {
  ReceiveSet set;
  const auto add = [&](platform::UdpSocket* socket, const MessageOrigin& origin) {
    if (socket == nullptr) return;
    set.sockets.push_back(socket);
    set.origins.push_back(origin);
  };
  const network::InterfaceTable& interfaces = sockets_.Interfaces();
  for (std::size_t i = 0; i < interfaces.Size() && set.sockets.size() < kMaxInterfaceSockets; ++i) {
    const platform::Ipv4 address = interfaces[i].address;
    const auto position = static_cast<std::int32_t>(i);
    add(sockets_.RequestSocket(i), {MsgSource::FromRequestSocket, position, address});
    add(sockets_.ResponseSocket(i), {MsgSource::FromResponseSocket, position, address});
  }
  add(sockets_.NonLocalSocket(), {MsgSource::FromNonLocalSocket, kNone, 0});
  return set;
}

void Receiver::Handle(const platform::Received& received, const ReceiveSet& set) {
  using Outcome = platform::Received::Outcome;
  if (received.outcome == Outcome::Nothing) return;
  if (received.outcome == Outcome::StrangeSocket || received.socket >= set.origins.size()) {
    if (sockets_.NonLocalSocket() == nullptr) return;
    trace_.Error(L"LanSeek: Strange socket receive error. Select returned unexpected socket.");
    return;
  }
  const MessageOrigin& origin = set.origins[received.socket];
  if (received.outcome == Outcome::ReadError) {
    trace_.Error(L"LanSeek: Failed to read data. InterfaceIdx = %d Error = %d", origin.position,
                 received.error);
    return;
  }
  if (!Wanted(received, origin)) return;

  const auto handle = [&] {
    dispatcher_.HandleMessage({received.text.data(), received.text.size()}, received.text.size(),
                              received.source, origin, message_);
  };
  // A step of its own, so that a message that cannot be handled does not discard those behind it. Its
  // controller will be asked again.
  platform::RunStep(handle, failed_);
  engineLock_.ReleaseAll();
}

bool Receiver::Wanted(const platform::Received& received, const MessageOrigin& origin) const {
  if (!received.sourceIsIpv4) {
    trace_.Error(L"LanSeek receive: IP-address is not available. Skip message");
    return false;
  }
  if (origin.position >= 0 && sockets_.Interfaces().FindInterfaceByAddress(received.source) >= 0)
    return false;
  return FromOwnSubnet(received.source, origin);
}

/// A broadcast also arrives on the interface of the sender's subnet, where it is handled. A sender outside
/// all local subnets came through a router and is accepted.
bool Receiver::FromOwnSubnet(platform::Ipv4 source, const MessageOrigin& origin) const {
  const network::InterfaceTable& interfaces = sockets_.Interfaces();
  if (origin.position < 0 || interfaces[static_cast<std::size_t>(origin.position)].Contains(source))
    return true;
  return !interfaces.IsNeighbour(source);
}

}  // namespace kellanseek::engine
