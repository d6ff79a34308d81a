#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "EngineHarness.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek::test {

/// Every rule of the engine as a plain walk over a plain list, for comparison with the indexed engine. It has
/// its own words for everything that the two must agree on, and shares none of the engine's code.
class PlainEngine {
 public:
  struct Interface {
    platform::Ipv4 address = 0;
    platform::Ipv4 mask = 0;
    int refreshCountdown = 0;
    int requestsThisTick = 0;
  };
  struct Origin {
    int source = 0;
    int position = -1;
    platform::Ipv4 address = 0;
  };
  /// Tag a of a message, which says nothing when it is empty, and the rest of it.
  struct Message {
    std::uint32_t type = 0;
    std::wstring target;
    CtrlInfo pattern;   ///< What its tags say.
    std::wstring from;  ///< Empty for a message without a socket.
  };

  explicit PlainEngine(const CKelLanSeekConfigSettings& settings) : settings_(settings) {}

  void SetInterfaces(std::vector<Interface> table);
  void Handle(const Message& message, const Origin& origin);
  void Tick();
  void BeginRun();
  void Define(CtrlInfo record);
  HRESULT Register(const CtrlInfo& identity);
  HRESULT Unregister(const std::wstring& systemID, bool keep);
  HRESULT AddRemote(const std::wstring& address, std::uint32_t& id);
  HRESULT RefreshForID(std::uint32_t id);
  void FindNames();

  std::vector<CtrlInfo> records;
  std::vector<Interface> interfaces;
  std::map<std::uint32_t, std::uint64_t> processes;  ///< The start of each process that runs.
  std::map<std::wstring, std::wstring> names;        ///< What the name service knows of an address.
  std::uint32_t nextId = 11;
  bool daemonPublishes = true;

  std::vector<ClientEvent> events;
  std::vector<std::string> broadcasts;
  std::multiset<std::string> byAddress;  ///< Those of one tick have no order among themselves.
  std::vector<RecordingDaemon::Message> daemonMessages;
  std::vector<std::uint32_t> published;
  std::vector<std::wstring> traces;
  int daemonRefreshes = 0;
  int objectsLost = 0;  ///< References that went with their processes.

 private:
  static constexpr int kNotRun = -1;

  int Ticks(int seconds) const { return 1000 / settings_.TickInterval * seconds; }
  bool Polls() const { return settings_.NonLocalUpdatesEnabled != 0; }
  int PollTicks() const { return Polls() ? Ticks(settings_.NonLocalRefreshInterval) : -1; }
  int InterfaceFor(const std::wstring& address) const;
  void Trace(std::wstring text) { traces.push_back(std::move(text)); }
  void Event(const CtrlInfo& r, KelCtrlAvailability status, LanSeekEventReason reason) {
    events.push_back({r.lanSeekID, status, reason});
  }

  void WantName(const CtrlInfo& r);
  void RemoveActive(std::size_t& position, LanSeekEventReason reason, bool keep = false);
  void Revalidate();
  int FindCtrl(const CtrlInfo& pattern) const;

  bool Collide(std::uint32_t type, CtrlInfo& pattern, int source, int& out);
  enum class Step { Drop, GoOn, NextRecord, SameIndex };
  Step Defined(CtrlInfo& pattern, int source, std::size_t i, int& out, bool& staticMatch);
  Step SameSystemID(std::uint32_t type, CtrlInfo& pattern, int source, std::size_t& i, bool staticMatch);

  static bool UpdateFrom(CtrlInfo& r, const CtrlInfo& newer);
  void AddNew(CtrlInfo pattern, bool published);
  void Identity(int p, const CtrlInfo& pattern, const Origin& origin);
  void DynamicIdentity(CtrlInfo& r, const CtrlInfo& pattern);
  void Alive(int p, const CtrlInfo& pattern, const Origin& origin);
  void Targeted(const Message& message, const Origin& origin);
  void StartRefreshCycle(int position, std::uint32_t type);
  bool Due(std::size_t& i);
  void Poll(CtrlInfo& r);
  void AskOnInterface(CtrlInfo& r);
  void SendTo(const CtrlInfo& r, std::string_view datagram) {
    byAddress.insert("to " + std::string(r.ctrlAddress.begin(), r.ctrlAddress.end()) + " " +
                     std::string(datagram));
  }

  const CKelLanSeekConfigSettings& settings_;
  std::vector<std::pair<std::uint32_t, std::wstring>> namesWanted_;
};

}  // namespace kellanseek::test
