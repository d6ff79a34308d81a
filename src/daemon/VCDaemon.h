#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "daemon/RemoteVCPublisher.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/Trace.h"
#include "network/AnswerSender.h"
#include "network/InterfaceTable.h"
#include "platform/Event.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {

/// Gives uniform random numbers.
using RandomSource = std::function<std::uint32_t()>;

/// The wait without limit, as Step() gives it.
inline constexpr std::int32_t kNothingScheduled = -1;

/// The milliseconds between two counts of a clock that wraps around, as Step() takes them: at most
/// 0x7FFFFFFE. Over the wrap, one is missing.
std::int32_t ElapsedBetween(std::uint32_t last, std::uint32_t now);

/// Answers the requests of other hosts for the virtual controllers of this host that are published, and tells
/// them when one goes away. Datagrams are prepared once for each controller and interface, and sent after a
/// random delay, so that many workstations do not answer one request all at once.
///
/// The list of published controllers has a lock of its own, taken after the table lock; the queue's lock is
/// never held while another is taken.
class CrVCDaemon : public RemoteVCPublisher {
 public:
  struct Parts {
    network::AnswerSender& sender;
    platform::Event& socketsReady;
    RandomSource random;
    platform::DebugOutput& debugOutput;
  };
  explicit CrVCDaemon(Parts parts);

  /// Starts and ends the daemon's thread; the published controllers stay.
  void StartThread();
  void StopThread();

  bool QueueMessageForRemoteVC(protocol::MessageType type, std::int32_t interfaceIndex,
                               std::uint32_t lanSeekID) noexcept override;
  bool AddRemoteVC(const CtrlInfo& record) override;
  void RefreshAfterReInit(CtrlTable::Access& table, const network::InterfaceTable& interfaces) override;

  /// One pass: lets `elapsed` milliseconds go by, takes in what is queued, sends what is due. Gives the
  /// milliseconds until the next pass is needed, or kNothingScheduled. The thread calls it; tests do so
  /// without one.
  std::int32_t Step(std::int32_t elapsed) EXCLUDES(listLock_, queueLock_);

 private:
  struct DaemonMessage {
    protocol::MessageType type{};
    std::int32_t interfaceIndex = 0;
    std::uint32_t lanSeekID = 0;
    bool operator==(const DaemonMessage&) const = default;
  };

  /// What is sent for one controller on one interface.
  struct PublicationItem {
    std::string fullMessage;
    std::string shortMessage;
    /// The datagram to be sent: full, short or a notice. A new publication introduces itself in full.
    std::optional<protocol::MessageType> pending = protocol::MessageType::CtrlInfoMsg;
  };

  struct RemoteVCEntry {
    /// Milliseconds until what is pending is sent, or kNothingScheduled.
    std::int32_t countdown = 0;
    std::uint32_t lanSeekID = 0;
    std::wstring systemID;  ///< For the notice, after the record is gone.
    bool remove = false;    ///< To be dropped after what is pending has been sent.
    bool tooLongTraced = false;
    std::vector<PublicationItem> items;  ///< One for each interface.
  };

  void RemoteVCDaemonLoop();
  void BuildInterfaceMessages(RemoteVCEntry& entry, const CtrlInfo& record) const REQUIRES(listLock_);
  void TraceTooLong(RemoteVCEntry& entry) const;
  void LetTimePass(std::int32_t elapsed) REQUIRES(listLock_);
  /// Whether the same message waits already, with no removal behind it.
  bool Waits(const DaemonMessage& message) const REQUIRES(queueLock_);
  std::vector<DaemonMessage> TakeQueue() EXCLUDES(queueLock_);
  void Handle(const DaemonMessage& message) REQUIRES(listLock_);
  bool Acceptable(const DaemonMessage& message) const REQUIRES(listLock_);
  void Mark(RemoteVCEntry& entry, const DaemonMessage& message);
  std::int32_t SendDue() REQUIRES(listLock_);
  void SendPending(RemoteVCEntry& entry);
  void SendRVCResponse(RemoteVCEntry& entry, std::size_t position);

  network::AnswerSender& sender_;
  platform::Event& socketsReady_;
  RandomSource random_;
  diagnostics::Tracer trace_;
  diagnostics::StepTrace failed_;

  platform::Event stop_{platform::Event::Kind::AutoReset};
  platform::Event queued_{platform::Event::Kind::AutoReset};
  platform::Mutex queueLock_;
  std::vector<DaemonMessage> queue_ GUARDED_BY(queueLock_);
  std::atomic<bool> active_{false};  ///< At least one controller is published; else messages are dropped.
  platform::Mutex listLock_;
  std::vector<RemoteVCEntry> published_ GUARDED_BY(listLock_);
  std::vector<std::string> macTexts_ GUARDED_BY(listLock_);  ///< Of the interfaces, by position.
  platform::Thread thread_;
};

}  // namespace kellanseek::daemon
