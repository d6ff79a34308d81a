#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/Settings.h"
#include "controllers/CtrlTable.h"
#include "daemon/RemoteVCPublisher.h"
#include "engine/EngineLogic.h"
#include "events/EventQueue.h"
#include "network/HostInterfaces.h"
#include "network/InterfaceTable.h"
#include "network/RequestSender.h"
#include "platform/Event.h"
#include "protocol/Message.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"
#include "tests/support/FakeProcessTable.h"
#include "tests/support/FakeReverseLookup.h"

namespace kellanseek::test {

/// One queued event as clients would see it.
struct ClientEvent {
  std::uint32_t lanSeekID = 0;
  KelCtrlAvailability availability = CtrlAvailable;
  LanSeekEventReason reason = CtrlNew;
  bool operator==(const ClientEvent&) const = default;
};

/// As the real queue, it loses an event for which there is no memory.
class RecordingEvents : public events::EventQueue {
 public:
  bool QueueEvent(std::uint32_t lanSeekID, KelCtrlAvailability availability,
                  LanSeekEventReason reason) noexcept override {
    try {
      queued.push_back({lanSeekID, availability, reason});
      return true;
    } catch (const std::bad_alloc&) {
      hasLost = true;
      return false;
    }
  }
  std::vector<ClientEvent> Take() { return std::exchange(queued, {}); }

  std::vector<ClientEvent> queued;
  bool hasLost = false;
};

/// A request that would have gone out: "broadcast 0 <datagram>" or "to 10.0.0.1 <datagram>".
class RecordingSender : public network::RequestSender {
 public:
  void Broadcast(controllers::InterfaceIndex interfaceIndex, std::string_view datagram) override {
    sent.push_back("broadcast " + std::to_string(PlaceOf(interfaceIndex)) + " " + std::string(datagram));
  }
  bool SendToAddress(platform::Ipv4 address, std::string_view datagram) override {
    if (room == 0) return false;
    --room;
    sent.push_back("to " + platform::FormatIpv4(address) + " " + std::string(datagram));
    return true;
  }
  std::vector<std::string> Take() { return std::exchange(sent, {}); }

  std::vector<std::string> sent;
  std::size_t room = std::numeric_limits<std::size_t>::max();  ///< Requests by address taken from now on.
};

/// What the engine asked of the daemon: {type, interface index or -1, id}, and the ids that were to be
/// published.
class RecordingDaemon : public daemon::RemoteVCPublisher {
 public:
  struct Message {
    std::int32_t type = 0;
    std::int32_t interfaceIndex = 0;
    std::uint32_t lanSeekID = 0;
    bool operator==(const Message&) const = default;
  };
  bool QueueMessageForRemoteVC(protocol::MessageType type,
                               std::optional<controllers::InterfaceIndex> interfaceIndex,
                               std::uint32_t lanSeekID) noexcept override {
    try {
      messages.push_back({static_cast<std::int32_t>(type), TraceNumber(interfaceIndex), lanSeekID});
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
  bool AddRemoteVC(const controllers::CtrlInfo& record) override {
    added.push_back(record.lanSeekID);
    return addSucceeds;
  }
  void RefreshAfterReInit(controllers::CtrlTable::Access&, const network::InterfaceTable&) override {
    ++refreshes;
  }

  std::vector<Message> messages;
  std::vector<std::uint32_t> added;
  bool addSucceeds = true;
  int refreshes = 0;
};

class NoPause : public engine::SendPacer {
 public:
  bool Pause() override {
    ++pauses;
    if (meanwhile) meanwhile();
    return goOn;
  }

  std::function<void()> meanwhile;
  int pauses = 0;
  bool goOn = true;
};

/// A virtual controller's own object, held by the test.
class CountedObject : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (onRelease) onRelease();
    return --count;
  }

  ULONG count = 0;
  std::function<void()> onRelease;
};

inline constexpr controllers::InterfaceIndex kFirstInterface{0}, kSecondInterface{1};

/// The requests to everybody, as they are sent.
inline constexpr const char* kFull = "Lanseek;0d;5;";
inline constexpr const char* kRefresh = "Lanseek;0d;7;";

inline std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

/// The engine's logic without threads, clocks and sockets, on two interfaces: 192.168.1.5/24 and 10.0.0.5/24.
class EngineHarness {
 public:
  explicit EngineHarness(std::size_t maxDynamicRecords = controllers::kMaxDynamicRecords)
      : table(maxDynamicRecords) {
    addresses.AddInterface(1, {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e});
    addresses.AddInterface(2, {0x02, 0x00, 0x00, 0x4f, 0x8e, 0x35});
    addresses.AddAddress(1, "192.168.1.5", "255.255.255.0");
    addresses.AddAddress(2, "10.0.0.5", "255.255.255.0");
    RebuildInterfaces();
  }

  void RebuildInterfaces() {
    interfaces = host.SetupLanseekInterfaces();
    controllers::CtrlTable::Access access(table);
    logic.UseInterfaces(access, interfaces);
  }
  std::int32_t RefreshCountdown(controllers::InterfaceIndex interfaceIndex) {
    controllers::CtrlTable::Access access(table);
    return logic.interfaces.CountersOf(access, interfaceIndex).refreshCountdown;
  }

  /// "Lanseek;" + length + type + fields, as a peer would send it.
  static std::string Datagram(std::uint32_t type, std::string_view fields);

  /// Hands a datagram in as if it had come from `source` through an interface, or none.
  void Receive(std::string_view datagram, std::string_view source, engine::MsgSource from,
               std::optional<controllers::InterfaceIndex> interfaceIndex);
  void Answer(std::uint32_t type, std::string_view fields, std::string_view source,
              controllers::InterfaceIndex interfaceIndex = kFirstInterface) {
    Receive(Datagram(type, fields), source, engine::MsgSource::FromResponseSocket, interfaceIndex);
  }
  void NonLocalAnswer(std::uint32_t type, std::string_view fields, std::string_view source) {
    Receive(Datagram(type, fields), source, engine::MsgSource::FromNonLocalSocket, std::nullopt);
  }
  void Forward(std::uint32_t type, std::string_view fields);

  void BeginRun() { refresh.BeginRun(outlet); }
  void Tick(int count = 1) {
    for (int i = 0; i < count; ++i) refresh.Tick(outlet);
  }

  /// Adds a record as the configuration or a client would, with its timer where it has one; gives its id.
  std::uint32_t Add(controllers::CtrlInfo record, std::int32_t ticks = controllers::kNone,
                    std::int32_t requests = controllers::kNone);
  /// A copy of a record; one with id 0 when there is none.
  controllers::CtrlInfo Get(std::uint32_t lanSeekID);
  std::vector<controllers::CtrlInfo> All();

  controllers::CtrlTable table;
  config::CKelLanSeekConfigSettings settings;
  FakeDebugOutput traces;
  FakeNetworkAddresses addresses;
  FakeProcessTable processes;
  FakeReverseLookup lookup;
  RecordingEvents events;
  RecordingSender sender;
  RecordingDaemon daemon;
  NoPause pacer;
  engine::RequestOutlet outlet{sender, pacer};
  diagnostics::Journal journal;
  platform::Event stopEngine{platform::Event::Kind::AutoReset};
  network::AddressPolling polling{settings};
  network::HostInterfaces host{addresses, settings, traces};
  network::InterfaceTable interfaces;
  engine::EngineLogic logic{
      {table, settings, polling, daemon, events, lookup, processes, stopEngine, journal, traces}};
  engine::EngineLock& engineLock = logic.engineLock;
  engine::HostNames& hostNames = logic.hostNames;
  engine::CtrlLifecycle& lifecycle = logic.lifecycle;
  engine::RefreshCycle& refresh = logic.refreshCycle;
  engine::Dispatcher& dispatcher = logic.dispatcher;
  engine::LocalVCs& localVCs = logic.localVCs;
};

}  // namespace kellanseek::test
