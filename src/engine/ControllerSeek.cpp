#include "engine/ControllerSeek.h"

#include <random>
#include <string>
#include <utility>

#include "diagnostics/StartThread.h"
#include "diagnostics/UnitNames.h"
#include "platform/CodePage.h"

namespace kellanseek::engine {
namespace {

using controllers::CtrlTable;

daemon::RandomSource RandomNumbers() {
  return [generator = std::minstd_rand(std::random_device()())]() mutable {
    return static_cast<std::uint32_t>(generator());
  };
}

}  // namespace

CControllerSeek::CControllerSeek(CtrlTable& table, events::EventQueue& events,
                                 const config::CKelLanSeekConfigSettings& settings,
                                 InterfaceChangeListener& owner, diagnostics::Journal& journal,
                                 const EngineEnvironment& environment)
    : table_(table),
      settings_(settings),
      journal_(journal),
      trace_(environment.debugOutput, diagnostics::kDynamicInfoUnit),
      udp_(environment.network),
      polling_(settings),
      host_(environment.addresses, settings, environment.debugOutput),
      daemon_(RandomNumbers(), environment.debugOutput),
      logic_({table, settings, polling_, daemon_, events, environment.reverseLookup, environment.processes,
              stopEngine_, journal, environment.debugOutput}),
      receiver_({environment.network, logic_.dispatcher, logic_.engineLock, rebuildWanted_, journal,
                 environment.debugOutput}),
      addressWatch_(host_, table, logic_.interfaces, settings, owner, environment.watchAddressChanges,
                    stopEngine_, rebuildWanted_, environment.debugOutput),
      runParts_{environment.network,    table, settings, polling_, logic_, receiver_, daemon_, journal,
                environment.debugOutput} {}

CControllerSeek::~CControllerSeek() {
  Stop();
  if (socketLibraryStarted_) udp_.Cleanup();
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

void CControllerSeek::BeginRun() { run_ = std::make_unique<NetworkRun>(runParts_); }

void CControllerSeek::Start() {
  {
    const platform::MutexLock lock(runLock_);
    BeginRun();
  }
  if (settings_.DetectInterfaceChanges != 0) {
    const auto watch = [this] { addressWatch_.NotifyAddrChangeLoop(); };
    diagnostics::StartThread(addressThread_, "KelAddrWatch", watch, {trace_, journal_});
  }
  const auto findNames = [this] { logic_.hostNames.HostNameThread(); };
  diagnostics::StartThread(hostNameThread_, "KelHostNames", findNames, {trace_, journal_},
                           platform::ThreadUrgency::Background);
}

void CControllerSeek::Stop() {
  {
    // A rebuild under way ends first; a later one finds that it has come too late.
    const platform::MutexLock lock(runLock_);
    stopping_ = true;
    stopEngine_.Set();
    run_.reset();
  }
  addressThread_.Join();
  hostNameThread_.Join();
}

void CControllerSeek::RebuildNetwork() {
  const platform::MutexLock lock(runLock_);
  if (stopping_) return;
  run_.reset();
  try {
    ReplaceInterfaces();
  } catch (...) {
    BeginRun();
    throw;
  }
  BeginRun();
}

void CControllerSeek::ReplaceInterfaces() {
  const EngineLock::Scope engine(logic_.engineLock);
  auto usable = host_.SetupLanseekInterfaces();
  CtrlTable::Access table(table_);
  logic_.UseInterfaces(table, std::move(usable));
}

std::vector<network::InterfaceEntry> CControllerSeek::Interfaces() {
  const CtrlTable::Access table(table_);
  return logic_.interfaces.Table(table).Entries();
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
  MessageOrigin origin;
  origin.received = journal_.Now();
  logic_.dispatcher.HandleMessage(text, message.size(), std::nullopt, origin, parsed);
}

}  // namespace kellanseek::engine
