#include "engine/NetworkRun.h"

#include <chrono>
#include <cstddef>
#include <vector>

#include "diagnostics/StartThread.h"
#include "diagnostics/UnitNames.h"
#include "engine/TickSleep.h"
#include "platform/Clock.h"

namespace kellanseek::engine {
namespace {

constexpr std::chrono::milliseconds kSendPause{2};
constexpr std::chrono::milliseconds kAfterFailure{100};

std::vector<network::InterfaceEntry> PresentInterfaces(const NetworkRun::Parts& parts) {
  const controllers::CtrlTable::Access table(parts.table);
  return parts.logic.interfaces.Table(table).Entries();
}

}  // namespace

bool NetworkRun::Pacer::Pause() {
  return platform::WaitForAny({&stop_}, kSendPause).outcome == platform::WaitResult::Outcome::TimedOut;
}

NetworkRun::NetworkRun(const Parts& parts, NotStarted)
    : parts_(parts),
      trace_(parts.debugOutput, diagnostics::kDynamicInfoUnit),
      usable_(PresentInterfaces(parts)),
      wanted_(usable_.size()),
      sockets_(parts.udp, parts.settings, parts.polling, parts.journal, parts.debugOutput) {}

/// Delegates, so that the destructor stops the first threads when there is no memory for the next.
NetworkRun::NetworkRun(const Parts& parts) : NetworkRun(parts, NotStarted()) {
  const diagnostics::ThreadWitness witness{trace_, parts_.journal};
  diagnostics::StartThread(
      refreshThread_, "KelRefresh", [this] { RefreshThread(); }, witness);
  const auto receive = [this] { parts_.receiver.ReceiverThread(sockets_, socketsReady_, stop_); };
  // The system's buffers hold little: who empties them must not have to wait for a turn.
  diagnostics::StartThread(receiverThread_, "KelReceiver", receive, witness, platform::ThreadUrgency::Prompt);
  const auto answer = [this] { parts_.daemon.RemoteVCDaemonLoop(sockets_, socketsReady_, stopDaemon_); };
  diagnostics::StartThread(daemonThread_, "KelDaemon", answer, witness);
}

NetworkRun::~NetworkRun() {
  // First, as its last pass still sends what is due.
  stopDaemon_.Set();
  daemonThread_.Join();
  stop_.Set();
  receiverThread_.Join();
  // The refresh thread, whose destructor waits for it, closes the sockets only now that nobody else uses
  // them.
  receiverEnded_.Set();
}

void NetworkRun::TryToOpen() {
  sockets_.CreateSockets(usable_);
  if (usable_.size() == wanted_) return;
  // Those behind an interface that was refused have other indexes now.
  controllers::CtrlTable::Access table(parts_.table);
  parts_.logic.NarrowInterfaces(table, sockets_.Interfaces());
}

/// Returns when the sockets exist, or the run stops.
void NetworkRun::OpenSockets(diagnostics::StepTrace& failed) {
  while (!platform::RunStep([this] { TryToOpen(); }, failed)) {
    sockets_.CloseSockets();
    if (platform::WaitForAny({&stop_}, kAfterFailure).Signalled(0)) return;
  }
}

/// Returns false when the run stops. Sleeps through idle ticks, until a timer starts or a refresh begins,
/// so that an idle host is not woken four times a second.
bool NetworkRun::WaitForTick(std::chrono::milliseconds tick) {
  using Outcome = platform::WaitResult::Outcome;
  RefreshCycle& cycle = parts_.logic.refreshCycle;
  platform::Event& timersWanted = parts_.table.TimersWanted();
  timersWanted.TryWait();  // What it told of is known to IdleTicks().
  std::int32_t idle = cycle.IdleTicks();
  const std::uint64_t begin = platform::MonotonicMilliseconds();
  const auto passed = [&] { return std::chrono::milliseconds(platform::MonotonicMilliseconds() - begin); };

  platform::WaitResult wait = platform::WaitForAny({&stop_, &timersWanted}, tick * (idle + 1));
  if (wait.outcome != Outcome::TimedOut) {
    const TickSleep sleep = EndedAfter(passed(), idle, tick);
    idle = sleep.passed;
    if (wait.Signalled(1)) wait = platform::WaitForAny({&stop_}, sleep.left);
  }
  cycle.SkipTicks(idle);
  if (wait.outcome != Outcome::TimedOut) return false;
  const std::chrono::milliseconds late = passed() - tick * (idle + 1);
  if (late.count() > 0) parts_.journal.counters.tickDelay.Reach(static_cast<std::uint64_t>(late.count()));
  return true;
}

void NetworkRun::RefreshThread() {
  diagnostics::StepTrace failed(trace_, L"KelRefresh");
  OpenSockets(failed);
  socketsReady_.Set();
  const RequestOutlet outlet{sockets_, pacer_};
  RefreshCycle& cycle = parts_.logic.refreshCycle;
  platform::RunStep([&] { cycle.BeginRun(outlet); }, failed);
  const std::chrono::milliseconds tick(parts_.settings.TickMilliseconds());
  while (WaitForTick(tick)) {
    platform::RunStep([&] { cycle.Tick(outlet); }, failed);
    // Asking every socket takes a few system calls, and nobody needs the number to the tick.
    if (cycle.TicksSoFar() % RefreshCycle::kTicksBetweenLooks == 0) sockets_.NoteDrops();
  }
  sockets_.NoteDrops();
  receiverEnded_.Wait();
  sockets_.CloseSockets();
}

}  // namespace kellanseek::engine
