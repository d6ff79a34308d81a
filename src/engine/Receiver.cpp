#include "engine/Receiver.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>

#include "diagnostics/UnitNames.h"
#include "platform/Ipv4.h"
#include "platform/Thread.h"
#include "protocol/Message.h"

namespace kellanseek::engine {
namespace {

using controllers::InterfaceIndex;

constexpr std::chrono::milliseconds kReceiveTimeout{1000};
constexpr std::chrono::milliseconds kAfterFailure{100};

/// Consecutive failed waits before a rebuild is requested (about a second), and before it is requested again
/// (about two minutes).
constexpr unsigned kFailedWaits = 10;
constexpr unsigned kFailedWaitsBetween = 1200;

/// The limit of the platform's wait for several sockets.
constexpr std::size_t kMaxInterfaceSockets = 64;

/// Returns false when the run stops.
bool Rest(platform::Event& stop) {
  return platform::WaitForAny({&stop}, kAfterFailure).outcome == platform::WaitResult::Outcome::TimedOut;
}

/// A broadcast also arrives on the interface of the sender's subnet, where it is handled. A sender outside
/// all local subnets came through a router and is accepted.
bool FromOwnSubnet(platform::Ipv4 source, const MessageOrigin& origin,
                   const network::InterfaceTable& interfaces) {
  if (!origin.interfaceIndex || interfaces[*origin.interfaceIndex].Contains(source)) return true;
  return !interfaces.IsNeighbour(source);
}

}  // namespace

Receiver::Receiver(const Parts& parts)
    : udp_(parts.udp),
      dispatcher_(parts.dispatcher),
      engineLock_(parts.engineLock),
      rebuildWanted_(parts.rebuildWanted),
      journal_(parts.journal),
      trace_(parts.debugOutput, diagnostics::kDynamicInfoUnit),
      failed_(trace_, L"KelReceiver") {}

void Receiver::ReceiverThread(const network::DiscoverySockets& sockets, platform::Event& socketsReady,
                              platform::Event& stop) {
  thread_.store(std::this_thread::get_id());
  // A stop may come before the sockets are open.
  if (platform::WaitForAny({&stop, &socketsReady}).Signalled(1)) Receive(sockets, stop);
  thread_.store({});
}

void Receiver::Receive(const network::DiscoverySockets& sockets, platform::Event& stop) {
  if (sockets.Interfaces().Size() == 0 && sockets.NonLocalSocket() == nullptr) return;

  std::optional<ReceiveSet> set;
  std::unique_ptr<platform::DatagramReceiver> receiver;
  const auto prepare = [&] {
    set.emplace(sockets, journal_);
    receiver = udp_.CreateReceiver(set->sockets, protocol::kMaxDatagram);
  };
  while (!platform::RunStep(prepare, failed_)) {
    if (!Rest(stop)) return;
  }
  const auto receive = [&] {
    const platform::Received received = receiver->ReceiveOne(stop, kReceiveTimeout);
    if (received.outcome == platform::Received::Outcome::WaitFailed)
      return OnFailedWait(received.error, stop);
    // A wait ended by the stop does not show that the sockets work.
    if (!stop.TryWait()) failedWaits_ = 0;
    Handle(received, *set);
  };
  while (!stop.TryWait()) {
    // Pauses after a failure, because otherwise this thread would retry endlessly at its raised priority.
    if (!platform::RunStep(receive, failed_)) Rest(stop);
  }
}

/// A single failed wait may be chance. Sockets that keep failing receive again only after they are reopened.
/// This thread cannot do that, because it would have to wait for its own end.
void Receiver::OnFailedWait(platform::SocketError error, platform::Event& stop) {
  if (++failedWaits_ % kFailedWaitsBetween == kFailedWaits) {
    rebuildWanted_.Set();
    trace_.Error(L"LanSeek: Waiting for datagrams failed. Error = %d", error);
  }
  Rest(stop);
}

Receiver::ReceiveSet::ReceiveSet(const network::DiscoverySockets& from, diagnostics::Journal& journal)
    : interfaces(from.Interfaces()), hasNonLocal(from.NonLocalSocket() != nullptr) {
  const auto add = [&](platform::UdpSocket* socket, const MessageOrigin& origin) {
    sockets.push_back(socket);
    origins.push_back(origin);
    lastHeard.push_back(&journal.LastHeard(origin.interfaceAddress));
  };
  for (InterfaceIndex interfaceIndex{};
       interfaces.Contains(interfaceIndex) && sockets.size() < kMaxInterfaceSockets; ++interfaceIndex) {
    const platform::Ipv4 address = interfaces[interfaceIndex].address;
    add(from.RequestSocket(interfaceIndex), {MsgSource::FromRequestSocket, interfaceIndex, address, 0});
    add(from.ResponseSocket(interfaceIndex), {MsgSource::FromResponseSocket, interfaceIndex, address, 0});
  }
  if (hasNonLocal) add(from.NonLocalSocket(), {MsgSource::FromNonLocalSocket, std::nullopt, 0, 0});
}

void Receiver::Handle(const platform::Received& received, const ReceiveSet& set) {
  using Outcome = platform::Received::Outcome;
  if (received.outcome == Outcome::Nothing) return;
  if (received.outcome == Outcome::StrangeSocket || received.socket >= set.origins.size()) {
    if (!set.hasNonLocal) return;
    trace_.Error(L"LanSeek: Strange socket receive error. Select returned unexpected socket.");
    return;
  }
  MessageOrigin origin = set.origins[received.socket];
  if (received.outcome == Outcome::ReadError) {
    journal_.counters.readErrors.Add();
    trace_.Error(L"LanSeek: Failed to read data. InterfaceIdx = %d Error = %d",
                 TraceNumber(origin.interfaceIndex), received.error);
    return;
  }
  if (!Wanted(received, origin, set.interfaces)) return;
  origin.received = journal_.Now();
  set.lastHeard[received.socket]->store(origin.received, std::memory_order_relaxed);

  const auto handle = [&] {
    dispatcher_.HandleMessage({received.text.data(), received.text.size()}, received.text.size(),
                              received.source, origin, message_);
  };
  // A step of its own, so that a message that cannot be handled does not discard those behind it. Its
  // controller will be asked again.
  if (!platform::RunStep(handle, failed_)) journal_.counters.failedSteps.Add();
  engineLock_.ReleaseAll();
}

bool Receiver::Wanted(const platform::Received& received, const MessageOrigin& origin,
                      const network::InterfaceTable& interfaces) const {
  if (!received.sourceIsIpv4) {
    trace_.Error(L"LanSeek receive: IP-address is not available. Skip message");
    return false;
  }
  if (origin.interfaceIndex && interfaces.FindInterfaceByAddress(received.source)) {
    journal_.counters.ownDatagrams.Add();
    return false;
  }
  if (FromOwnSubnet(received.source, origin, interfaces)) return true;
  journal_.counters.otherSubnet.Add();
  return false;
}

}  // namespace kellanseek::engine
