#include "daemon/VCDaemon.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <optional>
#include <utility>

#include "daemon/Publication.h"
#include "diagnostics/UnitNames.h"
#include "platform/Clock.h"
#include "platform/Thread.h"
#include "protocol/Message.h"

namespace kellanseek::daemon {
namespace {

using controllers::InterfaceIndex;
using protocol::MessageType;

constexpr std::uint32_t kMinDelay = 200;      ///< Shortest delay of an answer, in milliseconds.
constexpr std::uint32_t kDelaySpread = 3000;  ///< Range of the random addition to it.
constexpr std::int32_t kDueThreshold = 10;    ///< Counts as due: the rest is not worth a wake-up.
constexpr std::int32_t kAgainAfterFailure = 1000;
constexpr std::uint32_t kMaxElapsed = 0x7FFFFFFE;

bool IsNotice(MessageType type) {
  return type == MessageType::CtrlRestartMsg || type == MessageType::CtrlPowerDownMsg;
}

bool IsRequest(MessageType type) {
  return type == MessageType::FullRequestMsg || type == MessageType::TargetedRequestMsg ||
         type == MessageType::RefreshRequestMsg;
}

}  // namespace

std::int32_t ElapsedBetween(std::uint32_t last, std::uint32_t now) {
  const std::uint32_t difference = now < last ? now - last - 1 : now - last;
  return static_cast<std::int32_t>(std::min(difference, kMaxElapsed));
}

CrVCDaemon::CrVCDaemon(RandomSource random, platform::DebugOutput& debugOutput)
    : random_(std::move(random)),
      trace_(debugOutput, diagnostics::kDaemonUnit),
      failed_(trace_, L"KelDaemon") {}

void CrVCDaemon::RemoteVCDaemonLoop(network::AnswerSender& sender, platform::Event& socketsReady,
                                    platform::Event& stop) {
  if (!platform::WaitForAny({&socketsReady, &stop}).Signalled(0)) return;
  std::uint32_t lastTick = platform::TickCount();
  std::optional<std::chrono::milliseconds> limit;
  for (;;) {
    const platform::WaitResult wait = platform::WaitForAny({&stop, &queued_}, limit);
    if (wait.outcome == platform::WaitResult::Outcome::Failed) {
      trace_.Error(L"Lanseek RemoteVCDaemonLoop. WaitForMultipleObjects failed, rVC daemon thread exiting");
      return;
    }
    const std::uint32_t now = platform::TickCount();
    std::int32_t next = kAgainAfterFailure;
    platform::RunStep([&] { next = Step(sender, ElapsedBetween(std::exchange(lastTick, now), now)); },
                      failed_);
    if (wait.Signalled(0)) return;
    limit = next == kNothingScheduled ? std::nullopt : std::optional(std::chrono::milliseconds(next));
  }
}

/// Marking the same answer twice changes nothing, so an equal message need not be queued again; otherwise a
/// storm of requests would make the queue grow. Removals keep their place among the requests, because they
/// determine the notice.
bool CrVCDaemon::Waits(const DaemonMessage& message) const {
  for (auto waiting = queue_.rbegin(); waiting != queue_.rend(); ++waiting) {
    if (*waiting == message) return true;
    if (IsNotice(waiting->type)) return false;
  }
  return false;
}

bool CrVCDaemon::QueueMessageForRemoteVC(MessageType type, std::optional<InterfaceIndex> interfaceIndex,
                                         std::uint32_t lanSeekID) noexcept {
  if (!active_.load(std::memory_order_relaxed)) return true;
  try {
    const platform::MutexLock lock(queueLock_);
    const DaemonMessage message{type, interfaceIndex, lanSeekID};
    if (Waits(message)) return true;
    queue_.push_back(message);
    longestQueue_ = std::max(longestQueue_, queue_.size());
  } catch (const std::bad_alloc&) {
    trace_.Error(L"LanSeek CrVCDaemon::QueueMessageForRemoteVC. Add message failed");
    return false;
  }
  queued_.Set();
  return true;
}

void CrVCDaemon::TraceTooLong(RemoteVCEntry& entry) const {
  if (std::exchange(entry.tooLongTraced, true)) return;
  trace_.Error(L"LanSeek CrVCDaemon. Datagram for remote VC %s is too long and is not sent", entry.systemID);
}

void CrVCDaemon::BuildInterfaceMessages(RemoteVCEntry& entry, const controllers::CtrlInfo& record) const {
  for (const std::string& macText : macTexts_) {
    entry.items.push_back({BuildFullMessage(record, macText), BuildShortMessage(record, macText)});
    const PublicationItem& item = entry.items.back();
    if (item.fullMessage.empty() || item.shortMessage.empty()) TraceTooLong(entry);
  }
}

bool CrVCDaemon::AddRemoteVC(const controllers::CtrlInfo& record) {
  RemoteVCEntry entry{record.lanSeekID, record.systemID};
  const platform::MutexLock lock(listLock_);
  try {
    BuildInterfaceMessages(entry, record);
  } catch (const std::bad_alloc&) {
    return false;
  }
  try {
    published_.push_back(std::move(entry));
    active_.store(true, std::memory_order_relaxed);
  } catch (const std::bad_alloc&) {
    trace_.Error(L"LanSeek AddRemoteVC. Failed to Add");
    return false;
  }
  queued_.Set();
  return true;
}

void CrVCDaemon::RefreshAfterReInit(controllers::CtrlTable::Access& table,
                                    const network::InterfaceTable& interfaces) {
  std::vector<std::string> macTexts;
  for (const network::InterfaceEntry& entry : interfaces.Entries()) macTexts.push_back(entry.macText);
  const platform::MutexLock lock(listLock_);
  macTexts_ = std::move(macTexts);
  for (auto entry = published_.begin(); entry != published_.end();) {
    entry->items.clear();
    const controllers::CtrlTable::Record record = table.Find(entry->lanSeekID);
    if (!record) {
      entry = published_.erase(entry);
      continue;
    }
    try {
      BuildInterfaceMessages(*entry, *record);
    } catch (const std::bad_alloc&) {
      trace_.Error(
          L"LanSeek CrVCDaemaon::RefreshAfterReInit. Failed to add publication interfaces for remote VC");
      entry = published_.erase(entry);
      continue;
    }
    entry->countdown = kNothingScheduled;
    ++entry;
  }
}

std::int32_t CrVCDaemon::Step(network::AnswerSender& sender, std::int32_t elapsed) {
  const platform::MutexLock lock(listLock_);
  LetTimePass(elapsed);
  for (const DaemonMessage& message : TakeQueue()) {
    platform::RunStep([&]() NO_THREAD_SAFETY_ANALYSIS { Handle(message); }, failed_);
  }
  return SendDue(sender);
}

void CrVCDaemon::LetTimePass(std::int32_t elapsed) {
  for (RemoteVCEntry& entry : published_) {
    if (entry.countdown != kNothingScheduled) entry.countdown = std::max(0, entry.countdown - elapsed);
  }
}

diagnostics::QueueLoad CrVCDaemon::Load() const {
  const platform::MutexLock lock(queueLock_);
  return {queue_.size(), longestQueue_};
}

std::size_t CrVCDaemon::Published() const {
  const platform::MutexLock lock(listLock_);
  return published_.size();
}

std::vector<CrVCDaemon::DaemonMessage> CrVCDaemon::TakeQueue() {
  const platform::MutexLock lock(queueLock_);
  return std::exchange(queue_, {});
}

bool CrVCDaemon::Acceptable(const DaemonMessage& message) const {
  if (IsNotice(message.type)) return true;
  if (!IsRequest(message.type)) {
    trace_.Error(L"LanSeek RemoteVCDaemonLoop. Unknown message type %d",
                 static_cast<std::uint32_t>(message.type));
    return false;
  }
  if (!message.interfaceIndex || PlaceOf(*message.interfaceIndex) >= macTexts_.size()) {
    trace_.Error(L"LanSeek RemoteVCDaemonLoop. Bad interface index %d", TraceNumber(message.interfaceIndex));
    return false;
  }
  // With several published controllers, a targeted request without identity does not say which one is meant.
  const bool ambiguous =
      message.type == MessageType::TargetedRequestMsg && message.lanSeekID == 0 && published_.size() != 1;
  return !ambiguous;
}

void CrVCDaemon::Handle(const DaemonMessage& message) {
  if (!Acceptable(message)) return;
  for (RemoteVCEntry& entry : published_) {
    if (message.lanSeekID != 0 && entry.lanSeekID != message.lanSeekID) continue;
    Mark(entry, message);
    if (message.lanSeekID != 0) return;
  }
}

void CrVCDaemon::Mark(RemoteVCEntry& entry, const DaemonMessage& message) {
  if (IsNotice(message.type)) {
    for (PublicationItem& item : entry.items) item.pending = message.type;
    entry.countdown = 0;
    entry.remove = true;
    return;
  }
  if (!message.interfaceIndex || PlaceOf(*message.interfaceIndex) >= entry.items.size()) return;
  std::optional<MessageType>& pending = entry.items[PlaceOf(*message.interfaceIndex)].pending;
  // A full answer contains everything in a short one. Nothing replaces a notice.
  if (message.type == MessageType::RefreshRequestMsg) {
    if (!pending) pending = MessageType::CtrlAliveMsg;
  } else if (!pending || pending == MessageType::CtrlAliveMsg) {
    pending = MessageType::CtrlInfoMsg;
  }
  if (entry.countdown == kNothingScheduled)
    entry.countdown = static_cast<std::int32_t>(random_() % kDelaySpread + kMinDelay);
}

std::int32_t CrVCDaemon::SendDue(network::AnswerSender& sender) {
  std::int32_t next = kNothingScheduled;
  for (RemoteVCEntry& entry : published_) {
    if (entry.countdown != kNothingScheduled && entry.countdown <= kDueThreshold) SendPending(entry, sender);
    if (entry.remove || entry.countdown == kNothingScheduled) continue;
    next = next == kNothingScheduled ? entry.countdown : std::min(next, entry.countdown);
  }
  std::erase_if(published_, [](const RemoteVCEntry& entry) { return entry.remove; });
  if (published_.empty()) active_.store(false, std::memory_order_relaxed);
  return next;
}

void CrVCDaemon::SendPending(RemoteVCEntry& entry, network::AnswerSender& sender) {
  InterfaceIndex interfaceIndex{};
  for (PublicationItem& item : entry.items) {
    if (item.pending) SendRVCResponse(entry, interfaceIndex, sender);
    item.pending.reset();
    ++interfaceIndex;
  }
  entry.countdown = kNothingScheduled;
}

void CrVCDaemon::SendRVCResponse(RemoteVCEntry& entry, InterfaceIndex interfaceIndex,
                                 network::AnswerSender& sender) {
  const PublicationItem& item = entry.items[PlaceOf(interfaceIndex)];
  std::string notice;
  std::string_view datagram = item.fullMessage;
  if (item.pending == MessageType::CtrlAliveMsg) {
    datagram = item.shortMessage;
  } else if (item.pending != MessageType::CtrlInfoMsg) {
    notice = BuildNotice(*item.pending, entry.systemID);
    if (notice.empty()) TraceTooLong(entry);
    datagram = notice;
  }
  if (datagram.empty()) return;
  platform::Ipv4 destination = 0;
  const platform::SocketError error = sender.Answer(interfaceIndex, datagram, destination);
  if (error == 0) return;
  trace_.Error(L"LANSEEK: Failed to send rVC response itf=%d addr=0x%x. Error=%d",
               TraceNumber(interfaceIndex), platform::HostOrder(destination), error);
}

}  // namespace kellanseek::daemon
