#include "engine/ControllerSeek.h"

#include <chrono>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "diagnostics/StartThread.h"
#include "platform/CodePage.h"

namespace kellanseek::engine {
namespace {

constexpr const wchar_t* kUnit = L"dynamicinfo";

constexpr std::chrono::milliseconds kSendPause{2};
constexpr std::chrono::milliseconds kAfterFailure{100};

daemon::RandomSource RandomNumbers() {
  return [generator = std::minstd_rand(std::random_device()())]() mutable {
    return static_cast<std::uint32_t>(generator());
  };
}

}  // namespace

CControllerSeek::CControllerSeek(CtrlTable& table, events::EventQueue& events,
                                 const CKelLanSeekConfigSettings& settings, InterfaceChangeListener& owner,
                                 const EngineEnvironment& environment)
    : table_(table),
      settings_(settings),
      trace_(environment.debugOutput, kUnit),
      udp_(environment.network),
      polling_(settings),
      host_(environment.addresses, settings, environment.debugOutput),
      sockets_(environment.network, settings, polling_, environment.debugOutput),
      daemon_({sockets_, socketsReady_, RandomNumbers(), environment.debugOutput}),
      logic_({table, settings, polling_, sockets_, daemon_, events, environment.reverseLookup,
              environment.processes, pacer_, stopEngine_, environment.debugOutput}),
      receiver_({environment.network, sockets_, logic_.dispatcher, logic_.engineLock, socketsReady_,
                 stopNetwork_, rebuildWanted_, environment.debugOutput}),
      addressWatch_(host_, table, logic_.interfaces, settings, owner, environment.watchAddressChanges,
                    stopNetwork_, rebuildWanted_, environment.debugOutput) {}

CControllerSeek::~CControllerSeek() {
  if (refreshThread_.Running()) Stop(0);
  if (socketLibraryStarted_) udp_.Cleanup();
}

bool CControllerSeek::Pacer::Pause() {
  return platform::WaitForAny({&stopNetwork_}, kSendPause).outcome == platform::WaitResult::Outcome::TimedOut;
}

void CControllerSeek::Init() {
  if (settings_.DetectInterfaceChanges != 0) addressWatch_.Begin();
  auto usable = host_.SetupLanseekInterfaces();
  {
    CtrlTable::Access table(table_);
    logic_.UseInterfaces(table, std::move(usable));
  }
  const platform::SocketError error = udp_.Startup();
  socketLibraryStarted_ = true;
  if (error != 0) trace_.Error(L"LanSeek: WSAStartup failed with error %d", error);
}

void CControllerSeek::StartNetwork() {
  socketsReady_.Reset();
  receiverEnded_.Reset();
  diagnostics::StartThread(
      refreshThread_, "KelRefresh", [this] { RefreshThread(); }, trace_);
  const auto receive = [this] {
    receiverId_.store(std::this_thread::get_id());
    receiver_.ReceiverThread();
    receiverId_.store({});
  };
  // The system's buffers are small, so the receiver must run promptly.
  diagnostics::StartThread(receiverThread_, "KelReceiver", receive, trace_, platform::ThreadUrgency::Prompt);
  daemon_.StartThread();
}

void CControllerSeek::Start(int restart) {
  StartNetwork();
  if (restart != 0) return;
  if (settings_.DetectInterfaceChanges != 0) {
    const auto watch = [this] { addressWatch_.NotifyAddrChangeLoop(); };
    diagnostics::StartThread(addressThread_, "KelAddrWatch", watch, trace_);
  }
  const auto findNames = [this] { logic_.hostNames.HostNameThread(); };
  diagnostics::StartThread(hostNameThread_, "KelHostNames", findNames, trace_,
                           platform::ThreadUrgency::Background);
}

void CControllerSeek::Stop(int restart) {
  if (restart == 0) {
    // Waits for a rebuild in progress; a later one will see `stopping_` and do nothing.
    const platform::MutexLock lock(runLock_);
    stopping_ = true;
  }
  StopNetwork(restart);
}

void CControllerSeek::StopNetwork(int restart) {
  daemon_.StopThread();
  if (restart == 0) stopEngine_.Set();
  socketsReady_.Reset();
  stopNetwork_.Set();
  receiverThread_.Join();
  // Lets the refresh thread close the sockets, which nobody reads any more. socketsReady_ cannot serve for
  // that: a stop during the start may come just before it is set.
  receiverEnded_.Set();
  refreshThread_.Join();
  if (restart == 0) {
    addressThread_.Join();
    hostNameThread_.Join();
  }
  stopNetwork_.Reset();
}

void CControllerSeek::RebuildNetwork() {
  const platform::MutexLock run(runLock_);
  if (stopping_) return;
  Stop(1);
  try {
    ReplaceInterfaces();
  } catch (...) {
    Start(1);
    throw;
  }
  Start(1);
}

void CControllerSeek::ReplaceInterfaces() {
  const EngineLock::Scope engine(logic_.engineLock);
  auto usable = host_.SetupLanseekInterfaces();
  CtrlTable::Access table(table_);
  logic_.UseInterfaces(table, std::move(usable));
}

std::vector<network::InterfaceEntry> CControllerSeek::PresentInterfaces() {
  const CtrlTable::Access table(table_);
  return logic_.interfaces.Table(table).Entries();
}

/// Returns when the sockets are open, or when the network side stops.
void CControllerSeek::CreateSockets(diagnostics::StepTrace& failed) {
  std::vector<network::InterfaceEntry> usable = PresentInterfaces();
  const std::size_t wanted = usable.size();
  const auto create = [&] {
    sockets_.CreateSockets(usable);
    if (usable.size() == wanted) return;
    // A refused interface has been dropped, which has moved the positions of those behind it.
    CtrlTable::Access table(table_);
    logic_.NarrowInterfaces(table, sockets_.Interfaces());
  };
  while (!platform::RunStep(create, failed)) {
    sockets_.CloseSockets();
    if (platform::WaitForAny({&stopNetwork_}, kAfterFailure).Signalled(0)) return;
  }
}

void CControllerSeek::RefreshThread() {
  diagnostics::StepTrace failed(trace_, L"KelRefresh");
  CreateSockets(failed);
  socketsReady_.Set();
  platform::RunStep([this] { logic_.refreshCycle.BeginRun(); }, failed);
  const std::chrono::milliseconds tick(settings_.TickMilliseconds());
  while (platform::WaitForAny({&stopNetwork_}, tick).outcome == platform::WaitResult::Outcome::TimedOut) {
    platform::RunStep([this] { logic_.refreshCycle.Tick(); }, failed);
  }
  receiverEnded_.Wait();
  sockets_.CloseSockets();
}

HRESULT CControllerSeek::AddRemoteController(const std::wstring& address, std::uint32_t& lanSeekID) {
  CtrlTable::Access table(table_);
  return logic_.lifecycle.AddRemoteController(table, address, lanSeekID);
}

HRESULT CControllerSeek::RefreshForID(std::uint32_t lanSeekID) {
  CtrlTable::Access table(table_);
  return logic_.refreshCycle.RefreshForID(table, lanSeekID);
}

HRESULT CControllerSeek::RegisterVC(std::wstring_view systemPath, std::wstring_view systemID,
                                    std::uint32_t processID, RemoteVCPublication remotePublication,
                                    const VCInterface* vci) {
  return logic_.localVCs.RegisterVC(systemPath, systemID, processID, remotePublication, vci);
}

HRESULT CControllerSeek::RemoveVC(std::wstring_view systemID, bool keep) {
  return logic_.localVCs.RemoveVC(systemID, keep);
}

void CControllerSeek::ForwardMessage(std::wstring_view message) {
  protocol::Message parsed;
  const std::string text = platform::ToNarrow(message);
  logic_.dispatcher.HandleMessage(text, message.size(), std::nullopt, MessageOrigin{}, parsed);
}

}  // namespace kellanseek::engine
