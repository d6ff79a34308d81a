#include "ModelHistory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "PlainEngine.h"
#include "tests/support/EngineHarness.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

using engine::MsgSource;

// Few of each, so that records meet.
const std::vector<std::string> kSystemIDs = {"", "sys-A", "sys-B", "sys-C"};
const std::vector<std::string> kMacs = {"", "aa", "bb", "cc"};
const std::vector<std::string> kAddresses = {"192.168.1.20", "10.0.0.20", "192.168.125.1", "192.168.1.21"};
const std::vector<std::string> kTargets = {"192.168.1.20", "10.0.0.20", "192.168.1.21", "path-1",
                                           "192.168.1.5",  "10.0.0.5",  "0.0.0.0",      ""};
const std::vector<std::vector<std::string>> kHostAddresses = {{"192.168.1.5", "10.0.0.5"},
                                                              {"10.0.0.5", "192.168.1.5"},
                                                              {"10.0.0.5"},
                                                              {"192.168.1.9", "192.168.1.5"},
                                                              {}};
const std::vector<std::string> kPaths = {"path-0", "path-1", "192.168.1.21"};
const std::vector<std::string> kHostNames = {"cell", "Cell", "press"};
const std::vector<std::string> kNoAddresses = {"no address", "", "255.255.255.255", "10.0.0"};
constexpr std::size_t kMostRecords = 40;

std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace

class ModelHistory::Sides {
 public:
  explicit Sides(ModelHistory::Choose choose) : choose_(std::move(choose)) {
    config::CKelLanSeekConfigSettings& settings = engine_.settings;
    settings.RefreshInterval = Configured(4);
    settings.RefreshTimeout = Configured(3);
    settings.Retries = Configured(3, 0);
    settings.MaxRequestsPerSecond = 4 * (Upto(3) + 1);
    settings.VCRefreshInterval = Configured(2);
    settings.NonLocalRefreshInterval = Configured(4);
    settings.NonLocalRefreshTimeout = Configured(2);
    settings.NonLocalRetries = Configured(3, 0);
    settings.NonLocalUpdatesEnabled = Upto(3) > 0;
    ChangeInterfaces();
  }

  std::string story;

  void Act();

 private:
  int Upto(int end) { return static_cast<int>(choose_() % static_cast<std::uint32_t>(end)); }
  /// At times negative: a timer that never runs, or requests without end.
  int Configured(int greatest, int least = 1) {
    const int usual = least + Upto(greatest);
    return Upto(10) != 0 ? usual : Upto(2) != 0 ? -1 - usual : std::numeric_limits<int>::min();
  }
  template <typename T>
  const T& Any(const std::vector<T>& pool) {
    return pool[choose_() % pool.size()];
  }

  void Seldom() {
    const int what = Upto(8);
    if (what < 3) return ChangeInterfaces();
    if (what < 6) return BeginRun();
    if (what == 6) {
      story += "\nno polls";
      engine_.polling.SwitchOff();
      plain_.pollsSwitchedOff = true;
      return;
    }
    story += "\ndaemon";
    plain_.daemonPublishes = engine_.daemon.addSucceeds = !engine_.daemon.addSucceeds;
  }

  void BeginRun() {
    story += "\nbegin";
    engine_.BeginRun();
    plain_.BeginRun();
  }

  void ChangeInterfaces() {
    story += "\ninterfaces";
    std::vector<PlainEngine::Interface> table;
    for (const auto& each : kHostAddresses[0]) engine_.addresses.RemoveAddress(each);
    engine_.addresses.RemoveAddress("192.168.1.9");
    for (const std::string& address : Any(kHostAddresses)) {
      story += " " + address;
      engine_.addresses.AddAddress(1, address, "255.255.255.0");
      table.push_back({platform::ParseIpv4(address), platform::ParseIpv4("255.255.255.0")});
    }
    engine_.RebuildInterfaces();
    plain_.SetInterfaces(std::move(table));
  }

  void Ticks(int count) {
    story += "\nticks " + std::to_string(count);
    for (int i = 0; i < count && !::testing::Test::HasFailure(); ++i) {
      engine_.Tick();
      plain_.Tick();
      Compare();
    }
  }

  CtrlInfo Identity() {
    CtrlInfo said;
    said.systemID = Wide(Any(kSystemIDs));
    said.macAddress = Wide(Any(kMacs));
    said.ctrlName = Upto(2) != 0 ? L"name" : L"other";
    said.systemName = Upto(6) != 0 ? L"system" : L"Line";
    said.ctrlID = Upto(6) != 0 ? L"ctrl" : L"Ctrl";
    said.releasePath = Upto(6) != 0 ? L"" : L"/hd0a";
    if (Upto(3) != 0) {
      said.versionMajor = static_cast<std::uint32_t>(Upto(4) == 0 ? 4 + Upto(3) : 5);
      said.versionMinor = static_cast<std::uint32_t>(Upto(4) == 0 ? 5 + Upto(5) : 6);
    }
    if (Upto(6) == 0) said.versionRevision = 1;
    if (Upto(6) == 0) said.kelAPICompatibilityRevision = 5;
    said.commPortNumber = static_cast<std::uint32_t>(Upto(3));
    if (Upto(6) == 0) said.ctrlLevel = BootLevel;
    const int kind = Upto(10);
    said.ctrlType = kind == 0 ? VC : kind < 3 ? RemoteVC : RC;
    return said;
  }

  static std::string Fields(const CtrlInfo& said, const std::string& target) {
    std::string fields;
    const auto text = [&](const char* tag, const std::wstring& value) {
      fields += std::string(tag) + ":" + std::string(value.begin(), value.end()) + ";";
    };
    const auto number = [&](const char* tag, std::uint32_t value) {
      if (value != controllers::kVersionUnknown)
        fields += std::string(tag) + ":" + std::to_string(value) + ";";
    };
    text("1", said.ctrlName.Wide());
    text("2", said.ctrlID.Wide());
    text("3", said.systemName.Wide());
    text("4", said.systemID);
    text("5", said.releasePath.Wide());
    text("9", said.macAddress);
    number("7", said.versionMajor);
    number("8", said.versionMinor);
    number("f", said.versionRevision);
    number("10", said.kelAPICompatibilityRevision);
    number("b", said.commPortNumber);
    number("c", said.ctrlLevel == BootLevel ? 1 : 0);
    number("11", static_cast<std::uint32_t>(said.ctrlType));
    return fields + "a:" + target + ";";
  }

  struct Sent {
    PlainEngine::Message message;
    PlainEngine::Origin origin;
    std::string fields;
    std::string from;
  };

  /// Often one of the last again, or several times in a row, as controllers repeat themselves: the engine
  /// handles what it has heard before in a way of its own.
  void Message() {
    if (plain_.records.size() >= kMostRecords) return;
    if (sent_.empty() || Upto(2) != 0) {
      constexpr std::size_t kRecent = 3;
      if (sent_.size() == kRecent) sent_.erase(sent_.begin());
      sent_.push_back(NewMessage());
    }
    const Sent& sent = Any(sent_);
    for (int times = Upto(3) == 0 ? 3 : 1; times > 0; --times) Send(sent);
  }

  Sent NewMessage() {
    Sent sent;
    PlainEngine::Origin& origin = sent.origin;
    PlainEngine::Message& message = sent.message;
    const int source = Upto(12);
    origin.source = source < 6 ? 1 : source < 9 ? 2 : source < 10 ? 0 : 3;
    const int type = Upto(16);
    message.type = static_cast<std::uint32_t>(type < 5 ? 1 : type < 9 ? 2 : type - 7);
    if (origin.source < 2) origin.interfaceIndex = Upto(2);
    message.pattern = Identity();
    const std::string target = Any(kTargets);
    sent.from = Any(kAddresses);
    message.target = Wide(target);
    sent.fields = Fields(message.pattern, target);
    return sent;
  }

  void Send(Sent sent) {
    auto& [message, origin, fields, from] = sent;
    if (origin.source < 2) {
      if (plain_.interfaces.empty()) return;
      origin.interfaceIndex = std::min(origin.interfaceIndex, static_cast<int>(plain_.interfaces.size()) - 1);
      origin.address = plain_.interfaces[static_cast<std::size_t>(origin.interfaceIndex)].address;
    }
    story += "\nmessage " + std::to_string(message.type) + " " + fields + " source " +
             std::to_string(origin.source) + " from " + from + " at " + std::to_string(origin.interfaceIndex);
    if (origin.source == 3) {
      engine_.Forward(message.type, fields);
    } else {
      message.from = Wide(from);
      std::optional<controllers::InterfaceIndex> interfaceIndex;
      if (origin.interfaceIndex >= 0) interfaceIndex = controllers::InterfaceIndex(origin.interfaceIndex);
      engine_.Receive(EngineHarness::Datagram(message.type, fields), from,
                      static_cast<MsgSource>(origin.source), interfaceIndex);
    }
    plain_.Handle(message, origin);
  }

  /// A controller of the static file; one with complete information is there from the start.
  void Define() {
    if (plain_.records.size() >= kMostRecords) return;
    CtrlInfo record;
    record.ctrlAddress = Wide(Any(kAddresses));
    record.systemID = Wide(Any(kSystemIDs));
    if (Upto(3) == 0) {
      record.macAddress = Wide(Any(kMacs));
      record.ctrlStatus = CtrlAvailable;
      record.published = true;
    }
    story += "\nstatic " + std::string(record.ctrlAddress.begin(), record.ctrlAddress.end());
    engine_.Add(record);
    plain_.Define(record);
  }

  void AddRemote() {
    const std::string address = Any(Upto(8) == 0 ? kNoAddresses : kAddresses);
    story += "\nadd " + address;
    std::uint32_t got = 0;
    std::uint32_t want = 0;
    HRESULT result = S_OK;
    {
      controllers::CtrlTable::Access table(engine_.table);
      result = engine_.lifecycle.AddRemoteController(table, Wide(address), got);
    }
    EXPECT_EQ(result, plain_.AddRemote(Wide(address), want));
    EXPECT_EQ(got, want);
  }

  /// Ids that were never issued, and those of records that have gone, among them.
  void RefreshForID() {
    const auto id = static_cast<std::uint32_t>(Upto(static_cast<int>(plain_.nextId) + 3));
    story += "\nrefresh " + std::to_string(id);
    HRESULT result = S_OK;
    {
      controllers::CtrlTable::Access table(engine_.table);
      result = engine_.refresh.RefreshForID(table, id);
    }
    EXPECT_EQ(result, plain_.RefreshForID(id));
  }

  void FindNames() {
    for (const std::string& address : kAddresses) {
      const std::string name = Any(kHostNames);
      story += "\n" + address + " is " + name;
      engine_.lookup.SetName(address, name);
      plain_.names[Wide(address)] = Wide(name);
    }
    engine_.hostNames.ResolveQueued();
    plain_.FindNames();
  }

  void Register() {
    CtrlInfo vc;
    vc.systemID = Wide(Any(kSystemIDs));
    vc.ctrlAddress = Wide(Any(kPaths));
    vc.vcProcessID = static_cast<std::uint32_t>(Upto(3) + 1);
    // Whatever is not "false" is published.
    vc.remotePublication = static_cast<RemoteVCPublication>(Upto(4) - 1);
    story += "\nregister " + std::string(vc.systemID.begin(), vc.systemID.end());
    GUID offered = IID_KelVirtualController;
    const VCInterface vci{&offered, &object_};
    EXPECT_EQ(
        engine_.localVCs.RegisterVC(vc.ctrlAddress, vc.systemID, vc.vcProcessID, vc.remotePublication, &vci),
        plain_.Register(vc));
  }

  void Unregister() {
    const std::wstring systemID = Wide(Any(kSystemIDs));
    const bool keep = Upto(2) != 0;
    story += "\nunregister " + std::string(systemID.begin(), systemID.end()) + (keep ? " keep" : "");
    EXPECT_EQ(engine_.localVCs.RemoveVC(systemID, keep), plain_.Unregister(systemID, keep));
  }

  void ToggleProcess() {
    const auto id = static_cast<std::uint32_t>(Upto(3) + 1);
    if (Upto(3) != 0) {
      engine_.processes.Start(id);
      plain_.processes[id] = engine_.processes.StartStamp(id);
    } else {
      engine_.processes.End(id);
      plain_.processes.erase(id);
    }
    story += "\nprocess " + std::to_string(id);
  }

  void Compare() {
    if (::testing::Test::HasFailure()) return;
    EXPECT_EQ(engine_.events.Take(), std::exchange(plain_.events, {}));
    EXPECT_EQ(engine_.daemon.messages, plain_.daemonMessages);
    EXPECT_EQ(engine_.daemon.added, plain_.published);
    // The harness has built its table once before.
    EXPECT_EQ(engine_.daemon.refreshes, plain_.daemonRefreshes + 1);
    CompareTraces();
    CompareDatagrams();
    const std::vector<CtrlInfo> records = engine_.All();
    ASSERT_EQ(records.size(), plain_.records.size());
    ULONG objects = static_cast<ULONG>(plain_.objectsLost);
    for (std::size_t i = 0; i < records.size(); ++i) {
      const controllers::PollSchedule& schedule = records[i].Schedule();
      const PlainRecord& plain = plain_.records[i];
      EXPECT_EQ(Text(records[i], schedule.TicksLeft(), schedule.RequestsLeft(),
                     TraceNumber(records[i].heardOnInterface)),
                Text(plain, plain.ticksToNextAction, plain.retriesLeft, plain.interfaceIndex));
      const bool registered = plain_.records[i].vcProcessID != 0;
      EXPECT_EQ(records[i].vcInterface.Get() != nullptr, registered);
      objects += registered ? 2 : 0;  // The copy has one of its own.
    }
    EXPECT_EQ(object_.count, objects);
    for (std::size_t i = 0; i < plain_.interfaces.size(); ++i)
      EXPECT_EQ(engine_.RefreshCountdown(controllers::InterfaceIndex(i)),
                plain_.interfaces[i].refreshCountdown);
  }

  void CompareTraces() {
    const std::vector<std::wstring> all = engine_.traces.Messages();
    EXPECT_EQ(std::vector<std::wstring>(all.begin() + static_cast<std::ptrdiff_t>(tracesSeen_), all.end()),
              std::exchange(plain_.traces, {}));
    tracesSeen_ = all.size();
  }

  void CompareDatagrams() {
    std::vector<std::string> broadcasts;
    std::multiset<std::string> byAddress;
    for (std::string& datagram : engine_.sender.Take()) {
      if (datagram.starts_with("broadcast")) {
        broadcasts.push_back(std::move(datagram));
      } else {
        byAddress.insert(std::move(datagram));
      }
    }
    asked_ += byAddress.size();
    EXPECT_EQ(broadcasts, std::exchange(plain_.broadcasts, {}));
    EXPECT_EQ(byAddress, std::exchange(plain_.byAddress, {}));
  }

  static std::wstring Text(const CtrlInfo& r, std::int32_t ticks, std::int32_t requests, int interfaceIndex) {
    std::wstring text;
    for (const auto* each : {&r.ctrlName, &r.systemName, &r.releasePath, &r.ctrlID, &r.hostName})
      text += each->Wide() + L"|";
    for (const auto* each : {&r.ctrlAddress, &r.systemID, &r.macAddress}) text += *each + L"|";
    for (const auto number : std::initializer_list<std::int64_t>{
             r.lanSeekID, r.ctrlType, r.remotePublication, r.versionMajor, r.versionMinor, r.versionRevision,
             r.kelAPICompatibilityRevision, r.commPortNumber, r.ctrlLevel, r.ctrlStatus, r.identificationType,
             ticks, requests, r.heardOnAddress, interfaceIndex, r.published, r.vcProcessID,
             static_cast<std::int64_t>(r.vcProcessStart)}) {
      text += std::to_wstring(number) + L"|";
    }
    return text;
  }

  const ModelHistory::Choose choose_;
  CountedObject object_;
  EngineHarness engine_;
  PlainEngine plain_{engine_.settings};
  std::vector<Sent> sent_;  ///< The last few.
  std::size_t tracesSeen_ = 0;
  std::size_t asked_ = 0;  ///< Requests by address.
};

void ModelHistory::Sides::Act() {
  const int what = Upto(18);
  // The model asks at once, so a history ends before the engine's token bucket is empty.
  if (asked_ + 2 * plain_.records.size() > engine::kNeighbourBurst) return;
  switch (what) {
    case 0: Define(); break;
    case 1: AddRemote(); break;
    case 2: Register(); break;
    case 3: Unregister(); break;
    case 4: ToggleProcess(); break;
    case 5: Seldom(); break;
    case 6:
    case 7:
    case 8: Ticks(Upto(8) + 1); break;
    case 9: RefreshForID(); break;
    case 10: FindNames(); break;
    default: Message(); break;
  }
  Compare();
}

ModelHistory::ModelHistory(Choose choose) : sides_(std::make_unique<Sides>(std::move(choose))) {}

ModelHistory::~ModelHistory() = default;

void ModelHistory::Act() { sides_->Act(); }

const std::string& ModelHistory::Story() const { return sides_->story; }

}  // namespace kellanseek::test
