#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/FuzzFile.h"
#include "tests/support/EngineHarness.h"

using namespace kellanseek;
using fuzz::Require;

namespace {

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
  virtualController.vcProcessID = 4711;
  engine.processes.Start(virtualController.vcProcessID);
  engine.Add(virtualController);
}

/// The first byte selects the source of the text: Q and R are the request and response sockets of the first
/// interface, q and r those of the second, N is the non-local socket, F a virtual controller of this host. T
/// advances the time.
void Take(test::EngineHarness& engine, std::string_view piece) {
  using engine::MsgSource;
  if (piece.empty()) return;
  const char from = piece.front();
  const std::string text(piece.substr(1));
  const auto receive = [&](MsgSource source, std::optional<controllers::InterfaceIndex> interfaceIndex) {
    engine.Receive(text, interfaceIndex == test::kSecondInterface ? "10.0.0.20" : "192.168.1.20", source,
                   interfaceIndex);
  };
  switch (from) {
    case 'Q': return receive(MsgSource::FromRequestSocket, test::kFirstInterface);
    case 'q': return receive(MsgSource::FromRequestSocket, test::kSecondInterface);
    case 'R': return receive(MsgSource::FromResponseSocket, test::kFirstInterface);
    case 'r': return receive(MsgSource::FromResponseSocket, test::kSecondInterface);
    case 'N': return receive(MsgSource::FromNonLocalSocket, std::nullopt);
    case 'T': return engine.Tick(1 + static_cast<int>(text.size() % 16));
    default: break;
  }
  protocol::Message message;
  engine.dispatcher.HandleMessage(text, text.size(), std::nullopt, {}, message);
  engine.engineLock.ReleaseAll();
}

/// Holds for any input: ids ascend and have been issued, and events refer only to controllers that existed.
void CheckTable(test::EngineHarness& engine) {
  std::uint32_t last = controllers::kLastReservedLanSeekID;
  for (const controllers::CtrlInfo& record : engine.All()) {
    Require(record.lanSeekID > last && record.lanSeekID < engine.table.NextLanSeekID());
    last = record.lanSeekID;
    Require(record.ctrlStatus != CtrlRemoved);
  }
  for (const test::ClientEvent& event : engine.events.queued) {
    Require(event.lanSeekID > controllers::kLastReservedLanSeekID &&
            event.lanSeekID < engine.table.NextLanSeekID());
    Require(event.reason >= CtrlNew && event.reason <= CtrlReconnected);
  }
}

}  // namespace

/// The input is a conversation, one message per line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(bytes), size);
  test::EngineHarness engine;
  AddOneOfEachKind(engine);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    Take(engine, rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  CheckTable(engine);
  return 0;
}
