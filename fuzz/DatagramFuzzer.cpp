#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "component/Report.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/Shortage.h"
#include "platform/CodePage.h"
#include "tests/component/FakeVC.h"
#include "tests/component/InjectedNetwork.h"
#include "tests/support/EngineHarness.h"
#include "text/Utf8.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

constexpr std::uint32_t kProcess = 4711;
/// The greatest part that a text of a datagram takes in a report: six characters for one, and the text of a
/// client is cut to the same length.
constexpr std::size_t kLongestText = 1000;
constexpr std::size_t kMostOfText = 6 * kLongestText;

controllers::CtrlInfo Known(KelCtrlType type, LanSeekCtrlIdentificationType definition,
                            const wchar_t* address, const wchar_t* systemID) {
  controllers::CtrlInfo record;
  record.ctrlType = type;
  record.identificationType = definition;
  record.ctrlAddress = address;
  record.systemID = systemID;
  record.ctrlStatus = definition == DynamicCtrlDefinition ? CtrlAvailable : CtrlUnavailable;
  return record;
}

void AddOneOfEachKind(test::EngineHarness& engine) {
  engine.Add(Known(RC, StaticCtrlDefinition, L"192.168.1.10", L""));
  engine.Add(Known(RC, RemoteCtrlDefinition, L"10.9.0.7", L""));
  controllers::CtrlInfo virtualController = Known(VC, DynamicCtrlDefinition, L"/virtual/a", L"V");
  virtualController.remotePublication = RemoteVCPublication_True;
  virtualController.vcProcessID = kProcess;
  engine.processes.Start(virtualController.vcProcessID);
  engine.Add(virtualController);
}

/// The second interface goes, or comes back.
void ChangeInterfaces(test::EngineHarness& engine) {
  engine.addresses.RemoveAddress("10.0.0.5");
  if (engine.interfaces.Size() == 1) engine.addresses.AddAddress(2, "10.0.0.5", "255.255.255.0");
  engine.RebuildInterfaces();
}

/// What clients, the name service and the system do. Returns false for another letter.
bool Call(test::EngineHarness& engine, char what, std::string text) {
  text.resize(std::min(text.size(), kLongestText));
  // Bytes above 127 become characters that no code page has.
  const std::wstring wide(text.begin(), text.end());
  switch (what) {
    case 'T': engine.Tick(1 + static_cast<int>(text.size() % 16)); return true;
    case 'B': engine.BeginRun(); return true;
    case 'X': ChangeInterfaces(engine); return true;
    case 'U': engine.localVCs.RemoveVC(wide, text.size() % 2 != 0); return true;
    case 'H':
      engine.lookup.SetName("192.168.1.20", text);
      engine.hostNames.ResolveQueued();
      return true;
    case 'V': {
      const auto object = test::FakeVC::Make();
      GUID offered = IID_KelVirtualController;
      const VCInterface vci{&offered, object.Get()};
      engine.localVCs.RegisterVC(wide, wide, kProcess, RemoteVCPublication_True, &vci);
      return true;
    }
    case 'A': {
      controllers::CtrlTable::Access table(engine.table);
      std::uint32_t id = 0;
      engine.lifecycle.AddRemoteController(table, wide, id);
      return true;
    }
    case 'I': {
      controllers::CtrlTable::Access table(engine.table);
      engine.refresh.RefreshForID(table, static_cast<std::uint32_t>(text.size()));
      return true;
    }
    case 'J':
      engine.journal.ThreadStarted("KelFuzz", text);
      engine.journal.SendFailed(static_cast<int>(text.size()), platform::ParseIpv4("10.0.0.20"));
      return true;
    default: return false;
  }
}

/// The first byte selects the source of the text: Q and R are the request and response sockets of the first
/// interface, q and r those of the second, N is the non-local socket, F a virtual controller of this host;
/// other letters are calls.
void Take(test::EngineHarness& engine, std::string_view piece) {
  using engine::MsgSource;
  if (piece.empty()) return;
  const char from = piece.front();
  const std::string text(piece.substr(1));
  if (Call(engine, from, text)) return;
  const auto receive = [&](MsgSource source, std::optional<controllers::InterfaceIndex> interfaceIndex) {
    if (interfaceIndex && !engine.interfaces.Contains(*interfaceIndex)) return;
    engine.Receive(text, interfaceIndex == test::kSecondInterface ? "10.0.0.20" : "192.168.1.20", source,
                   interfaceIndex);
  };
  switch (from) {
    case 'Q': return receive(MsgSource::FromRequestSocket, test::kFirstInterface);
    case 'q': return receive(MsgSource::FromRequestSocket, test::kSecondInterface);
    case 'R': return receive(MsgSource::FromResponseSocket, test::kFirstInterface);
    case 'r': return receive(MsgSource::FromResponseSocket, test::kSecondInterface);
    case 'N': return receive(MsgSource::FromNonLocalSocket, std::nullopt);
    default: break;
  }
  protocol::Message message;
  engine.dispatcher.HandleMessage(text, text.size(), std::nullopt, {}, message);
}

/// Holds for any input: ids ascend and have been issued, and what clients have heard last of a controller
/// agrees with its record.
void CheckTable(test::EngineHarness& engine) {
  std::map<std::uint32_t, KelCtrlAvailability> heard;
  for (const test::ClientEvent& event : engine.events.queued) {
    Require(event.lanSeekID > controllers::kLastReservedLanSeekID &&
            event.lanSeekID < engine.table.NextLanSeekID());
    Require(event.reason >= CtrlNew && event.reason <= CtrlReconnected);
    heard[event.lanSeekID] = event.availability;
  }
  std::uint32_t last = controllers::kLastReservedLanSeekID;
  for (const controllers::CtrlInfo& record : engine.All()) {
    Require(record.lanSeekID > last && record.lanSeekID < engine.table.NextLanSeekID());
    last = record.lanSeekID;
    Require(record.ctrlStatus != CtrlRemoved);
    const auto told = heard.find(last);
    const bool isThere = told != heard.end() && told->second == CtrlAvailable;
    Require(engine.events.hasLost || isThere == (record.published && record.Available()));
    if (told != heard.end()) heard.erase(told);
  }
  for (const auto& [id, availability] : heard) Require(engine.events.hasLost || availability == CtrlRemoved);
}

/// Whatever has happened, a controller that nobody has heard of is found.
void CheckGoesOn(test::EngineHarness& engine) {
  const std::wstring name = L"~new";
  for (const controllers::CtrlInfo& record : engine.All())
    if (record.systemID == name || record.macAddress == name || record.ctrlAddress == L"192.168.1.99") return;
  engine.Answer(1, "4:~new;9:~new;", "192.168.1.99");
  const controllers::CtrlInfo added = engine.All().back();
  Require(added.systemID == name && added.published);
  Require(engine.events.queued.back() == test::ClientEvent{added.lanSeekID, CtrlAvailable, CtrlNew});
}

/// An idle component: the parts of a report that no conversation changes.
class IdleComponent : public engine::InterfaceChangeListener {
 public:
  IdleComponent() { engine_.Init(); }
  std::string ReportOf(test::EngineHarness& engine) {
    return component::MakeReport(
        {engine.table, engine.settings, files_, engine.journal, events_, engine_, engine.addresses});
  }

 private:
  void OnInterfacesChanged() override {}

  test::EngineHarness parts_;
  test::InjectedNetwork network_;
  config::LoadedFiles files_;
  events::CEventItemsDB events_;
  engine::CControllerSeek engine_{
      parts_.table,
      parts_.events,
      parts_.settings,
      *this,
      parts_.journal,
      {network_, parts_.addresses, [] { return nullptr; }, parts_.lookup, parts_.processes, parts_.traces}};
};

/// The report is JSON, with the text of every record, and no longer than its records allow.
void CheckReport(test::EngineHarness& engine, fuzz::Shortage& shortage) {
  constexpr std::size_t kTextsOfRecord = 5, kRest = 20'000;
  static IdleComponent component;
  std::string report;
  const auto make = [&] { report = component.ReportOf(engine); };
  if (!shortage.Run(make)) make();
  const auto read = nlohmann::json::parse(report);
  const auto records = engine.All();
  Require(read["controllers"].size() == records.size());
  for (std::size_t i = 0; i < records.size(); ++i)
    Require(read["controllers"][i]["systemId"] == text::ToUtf8(records[i].systemID));
  Require(report.size() <= kRest + (records.size() + 2 * diagnostics::Journal::kMaxCollisions) *
                                       (600 + kTextsOfRecord * kMostOfText));
}

}  // namespace

/// The input is a conversation, one message or call per line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  fuzz::Shortage shortage(rest);
  test::EngineHarness engine;
  AddOneOfEachKind(engine);
  while (!rest.empty()) {
    const std::string_view piece = rest.substr(0, rest.find('\n'));
    const bool done = shortage.Run([&] { Take(engine, piece); });
    // Only a virtual controller that is refused may hold it; see Dispatcher.
    Require(done || !engine.engineLock.HeldByThisThread());
    engine.engineLock.ReleaseAll();
    // The engine retries a rebuild too.
    if (!done && piece.front() == 'X') engine.RebuildInterfaces();
    rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
  }
  CheckTable(engine);
  CheckReport(engine, shortage);
  CheckGoesOn(engine);
  return 0;
}
