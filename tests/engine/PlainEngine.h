#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "controllers/CtrlInfo.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::test {

/// A record with the two numbers of its schedule, and its interface as a number, in the open.
struct PlainRecord : controllers::CtrlInfo {
  PlainRecord() = default;
  PlainRecord(controllers::CtrlInfo info) : controllers::CtrlInfo(std::move(info)) {}

  std::int32_t ticksToNextAction = -1;
  std::int32_t retriesLeft = -1;
  int interfaceIndex = -1;
};

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
    int interfaceIndex = -1;
    platform::Ipv4 address = 0;
  };
  /// Tag a of a message, which says nothing when it is empty, and the rest of it.
  struct Message {
    std::uint32_t type = 0;
    std::wstring target;
    PlainRecord pattern;  ///< What its tags say.
    std::wstring from;    ///< Empty for a message without a socket.
  };

  explicit PlainEngine(const config::CKelLanSeekConfigSettings& settings) : settings_(settings) {}

  void SetInterfaces(std::vector<Interface> table);
  void Handle(const Message& message, const Origin& origin);
  void Tick();
  void BeginRun();
  void Define(PlainRecord record);
  HRESULT Register(const PlainRecord& identity);
  HRESULT Unregister(const std::wstring& systemID, bool keep);
  HRESULT AddRemote(const std::wstring& address, std::uint32_t& id);
  HRESULT RefreshForID(std::uint32_t id);
  void FindNames();

  std::vector<PlainRecord> records;
  std::vector<Interface> interfaces;
  std::map<std::uint32_t, std::uint64_t> processes;  ///< The start of each process that runs.
  std::map<std::wstring, std::wstring> names;        ///< What the name service knows of an address.
  std::uint32_t nextId = 11;
  bool daemonPublishes = true;
  bool pollsSwitchedOff = false;

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

  int Ticks(int seconds) const { return seconds < 0 ? -1 : 1000 / settings_.TickInterval * seconds; }
  static int OneMore(int retries) { return retries < 0 ? retries : retries + 1; }
  /// Takes another workstation's request for one of ours, unless ours is younger than half a timeout.
  void CountForeignRequest(PlainRecord& r) const;
  bool Polls() const { return settings_.NonLocalUpdatesEnabled != 0 && !pollsSwitchedOff; }
  int PollTicks() const { return Polls() ? Ticks(settings_.NonLocalRefreshInterval) : -1; }
  int InterfaceFor(const std::wstring& address) const;
  void Trace(std::wstring text) { traces.push_back(std::move(text)); }
  void Event(const PlainRecord& r, KelCtrlAvailability status, LanSeekEventReason reason) {
    events.push_back({r.lanSeekID, status, reason});
  }

  void WantName(const PlainRecord& r);
  void RemoveActive(std::size_t& position, LanSeekEventReason reason, bool keep = false);
  void Revalidate();
  int FindCtrl(const PlainRecord& pattern) const;

  bool Collide(std::uint32_t type, PlainRecord& pattern, int source, int& out);
  enum class Step { Drop, GoOn, NextRecord, SameIndex };
  Step Defined(PlainRecord& pattern, int source, std::size_t i, int& out, bool& staticMatch);
  Step SameSystemID(std::uint32_t type, PlainRecord& pattern, int source, std::size_t& i, bool staticMatch);

  static bool UpdateFrom(PlainRecord& r, const PlainRecord& newer);
  void AddNew(PlainRecord pattern, bool published);
  void Identity(int p, const PlainRecord& pattern, const Origin& origin);
  void DynamicIdentity(PlainRecord& r, const PlainRecord& pattern);
  void Alive(int p, const PlainRecord& pattern, const Origin& origin);
  void Targeted(const Message& message, const Origin& origin);
  void StartRefreshCycle(int interfaceIndex, std::uint32_t type);
  bool Due(std::size_t& i);
  void Poll(PlainRecord& r);
  void AskOnInterface(PlainRecord& r);
  void SendTo(const PlainRecord& r, std::string_view datagram) {
    byAddress.insert("to " + platform::FormatIpv4(platform::ParseIpv4(std::wstring_view(r.ctrlAddress))) +
                     " " + std::string(datagram));
  }

  const config::CKelLanSeekConfigSettings& settings_;
  std::vector<std::pair<std::uint32_t, std::wstring>> namesWanted_;
};

}  // namespace kellanseek::test
