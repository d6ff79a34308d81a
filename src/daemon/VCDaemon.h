#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/QueueLoad.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "network/AnswerSender.h"
#include "network/InterfaceTable.h"
#include "platform/Event.h"
#include "platform/Mutex.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Returns uniform random numbers.
using RandomSource = std::function<std::uint32_t()>;

/// Returned by Step() if nothing is scheduled.
inline constexpr std::int32_t kNothingScheduled = -1;

/// Milliseconds between two readings of a clock that wraps around, for Step(): at most 0x7FFFFFFE. One too
/// few across the wrap.
std::int32_t ElapsedBetween(std::uint32_t last, std::uint32_t now);

/// Answers other hosts' requests for the published virtual controllers of this host, and announces when one
/// goes away. Prepares the datagrams once for each controller and interface. Sends them after a random delay,
/// so that many workstations do not answer one request at the same time.
///
/// The list of published controllers has its own lock, taken after the table lock. No other lock is taken
/// while the queue's lock is held.
class CrVCDaemon : public RemoteVCPublisher {
 public:
  CrVCDaemon(RandomSource random, platform::DebugOutput& debugOutput);

  /// The thread body of one run of the network side: waits until its sockets are ready, then answers through
  /// them until it is told to stop. The published controllers stay.
  void RemoteVCDaemonLoop(network::AnswerSender& sender, platform::Event& socketsReady,
                          platform::Event& stop);

  bool QueueMessageForRemoteVC(protocol::MessageType type,
                               std::optional<controllers::InterfaceIndex> interfaceIndex,
                               std::uint32_t lanSeekID) noexcept override;
  bool AddRemoteVC(const controllers::CtrlInfo& record) override;
  void RefreshAfterReInit(controllers::CtrlTable::Access& table,
                          const network::InterfaceTable& interfaces) override;

  /// The messages that wait for the next pass.
  diagnostics::QueueLoad Load() const EXCLUDES(queueLock_);
  /// The number of published controllers.
  std::size_t Published() const EXCLUDES(listLock_);

  /// Runs one pass: advances the time by `elapsed` milliseconds, handles the queued messages and sends the
  /// answers that are due. Returns the milliseconds until the next pass, or kNothingScheduled. Called by the
  /// thread, or directly by tests.
  std::int32_t Step(network::AnswerSender& sender, std::int32_t elapsed) EXCLUDES(listLock_, queueLock_);

 private:
  struct DaemonMessage {
    protocol::MessageType type;
    std::optional<controllers::InterfaceIndex> interfaceIndex;
    std::uint32_t lanSeekID;
    bool operator==(const DaemonMessage&) const = default;
  };

  /// The datagrams of one controller on one interface.
  struct PublicationItem {
    std::string fullMessage;
    std::string shortMessage;
    /// The datagram to send: full, short or a notice. A new publication announces itself in full.
    std::optional<protocol::MessageType> pending = protocol::MessageType::CtrlInfoMsg;
  };

  struct RemoteVCEntry {
    std::uint32_t lanSeekID;
    std::wstring systemID;                 ///< For the notice, when the record is gone.
    std::vector<PublicationItem> items{};  ///< One for each interface.
    /// Milliseconds until the pending datagrams are sent, or kNothingScheduled.
    std::int32_t countdown = 0;
    bool remove = false;  ///< Drop the entry once the pending datagrams have been sent.
    bool tooLongTraced = false;
  };

  void BuildInterfaceMessages(RemoteVCEntry& entry, const controllers::CtrlInfo& record) const
      REQUIRES(listLock_);
  void TraceTooLong(RemoteVCEntry& entry) const;
  void LetTimePass(std::int32_t elapsed) REQUIRES(listLock_);
  /// Whether an equal message is already waiting, with no removal behind it.
  bool Waits(const DaemonMessage& message) const REQUIRES(queueLock_);
  std::vector<DaemonMessage> TakeQueue() EXCLUDES(queueLock_);
  void Handle(const DaemonMessage& message) REQUIRES(listLock_);
  bool Acceptable(const DaemonMessage& message) const REQUIRES(listLock_);
  void Mark(RemoteVCEntry& entry, const DaemonMessage& message);
  std::int32_t SendDue(network::AnswerSender& sender) REQUIRES(listLock_);
  void SendPending(RemoteVCEntry& entry, network::AnswerSender& sender);
  void SendRVCResponse(RemoteVCEntry& entry, controllers::InterfaceIndex interfaceIndex,
                       network::AnswerSender& sender);

  RandomSource random_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;

  platform::Event queued_{platform::Event::Kind::AutoReset};
  mutable platform::Mutex queueLock_{platform::LockOrder::DaemonQueue};
  std::size_t longestQueue_ GUARDED_BY(queueLock_) = 0;
  std::vector<DaemonMessage> queue_ GUARDED_BY(queueLock_);
  std::atomic<bool> active_{false};  ///< Whether a controller is published; otherwise messages are dropped.
  mutable platform::Mutex listLock_{platform::LockOrder::DaemonList};
  std::vector<RemoteVCEntry> published_ GUARDED_BY(listLock_);
  std::vector<std::string> macTexts_ GUARDED_BY(listLock_);  ///< One for each interface.
};

}  // namespace kellanseek::daemon
