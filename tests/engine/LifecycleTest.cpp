#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "EngineHarness.h"
#include "tests/support/FailingAllocation.h"

namespace kellanseek::test {
namespace {

using Events = std::vector<ClientEvent>;

/// A virtual controller's own object.
class Object : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++count; }
  ULONG STDMETHODCALLTYPE Release() override {
    if (onRelease) onRelease();
    return --count;
  }

  ULONG count = 1;
  std::function<void()> onRelease;
};

class LifecycleTest : public ::testing::Test, protected EngineHarness {
 protected:
  HRESULT AddRemote(const wchar_t* address, std::uint32_t& id) {
    const CtrlTable::Lock lock(table);
    return lifecycle.AddRemoteController(table, address, id);
  }
  void Remove(std::uint32_t id, LanSeekEventReason reason, bool keep = false) {
    const CtrlTable::Lock lock(table);
    lifecycle.RemoveActiveCtrl(table, table.Find(id), reason, keep);
  }
};

TEST_F(LifecycleTest, RemoteControllersAreAddedOnce) {
  std::uint32_t id = 0;
  EXPECT_EQ(AddRemote(L"not an address", id), E_INVALIDARG);
  EXPECT_EQ(AddRemote(L"255.255.255.255", id), E_INVALIDARG);
  EXPECT_EQ(AddRemote(L"192.168.1.30", id), S_OK);
  EXPECT_EQ(id, 11U) << "the failures consumed no id";
  std::uint32_t again = 0;
  EXPECT_EQ(AddRemote(L"192.168.1.30", again), KEL_S_ALREADY_CONFIGURED);
  EXPECT_EQ(again, 11U);
  Tick();
  EXPECT_EQ(sender.Take(), (std::vector<std::string>{"to 192.168.1.30 Lanseek;0d;5;"}));
  NonLocalAnswer(1, "4:sys;9:mac;", "192.168.1.30");
  Answer(1, "4:sys;9:mac;", "192.168.1.30");
  EXPECT_EQ(AddRemote(L"192.168.1.30", again), KEL_S_ALREADY_DYNAMIC);
  EXPECT_EQ(again, 11U);
}

TEST_F(LifecycleTest, RemovalTellsClientsAndTheDaemonOnlyWhatTheyKnew) {
  CtrlInfo vc;
  vc.ctrlType = VC;
  vc.ctrlAddress = L"path";
  vc.identificationType = DynamicCtrlDefinition;
  vc.ctrlStatus = CtrlAvailable;
  vc.remotePublication = RemoteVCPublication_True;
  vc.published = true;
  struct Case {
    LanSeekEventReason reason;
    std::int32_t code;
  };
  for (const Case& c : {Case{CtrlLostConnection, 100}, Case{CtrlLostRestart, 3}, Case{CtrlLostPowerDown, 4},
                        Case{CtrlLostLAN, 4}}) {
    const std::uint32_t id = Add(vc);
    Remove(id, c.reason);
    EXPECT_EQ(events.Take(), (Events{{id, CtrlRemoved, c.reason}}));
    EXPECT_EQ(daemon.messages.back(), (RecordingDaemon::Message{c.code, 0, id}));
  }
  EXPECT_EQ(traces.Messages(),
            (std::vector<std::wstring>{
                L"LanSeek RemoveActiveCtrl. Unexpected removal reason 3 for remote VC path"}));
  const std::size_t told = daemon.messages.size();
  const std::uint32_t kept = Add(vc);
  Remove(kept, CtrlLostPowerDown, true);
  Remove(kept, CtrlLostPowerDown, true);
  Remove(kept, CtrlLostPowerDown);
  EXPECT_EQ(events.Take(), (Events{{kept, CtrlRemoved, CtrlLostPowerDown}}));
  EXPECT_EQ(daemon.messages.size(), told + 1);
  EXPECT_TRUE(All().empty());
  vc.remotePublication = static_cast<RemoteVCPublication>(-1);
  const std::uint32_t oddlyPublished = Add(vc);
  Remove(oddlyPublished, CtrlLostPowerDown);
  EXPECT_EQ(daemon.messages.back(), (RecordingDaemon::Message{4, 0, oddlyPublished}))
      << "whatever was taken as published is withdrawn";
}

TEST_F(LifecycleTest, AnInterfaceThatGoesTakesItsControllersWithIt) {
  Answer(1, "4:a;9:a;", "10.0.0.20", 1);
  Answer(1, "4:b;9:b;", "192.168.1.20", 0);
  CtrlInfo configured;
  configured.ctrlAddress = L"10.0.0.30";
  const std::uint32_t id = Add(configured);
  Answer(1, "4:c;9:c;", "10.0.0.30", 1);
  configured.ctrlAddress = L"10.7.7.7";
  Add(configured);
  NonLocalAnswer(1, "4:d;9:d;", "10.7.7.7");
  events.Take();

  addresses.RemoveAddress("192.168.1.5");
  RebuildInterfaces();
  EXPECT_EQ(events.Take(), (Events{{12, CtrlRemoved, CtrlLostLAN}}));
  EXPECT_EQ(Get(11).heardOnInterface, 0) << "renumbered";
  addresses.RemoveAddress("10.0.0.5");
  RebuildInterfaces();
  EXPECT_EQ(events.Take(), (Events{{11, CtrlRemoved, CtrlLostLAN}, {id, CtrlUnavailable, CtrlLostLAN}}));
  EXPECT_EQ(daemon.refreshes, 3);
}

TEST_F(LifecycleTest, ARemoteControllerTurnsDynamicWhenItsNetworkAppears) {
  std::uint32_t id = 0;
  AddRemote(L"172.16.0.9", id);
  NonLocalAnswer(1, "4:a;9:a;", "172.16.0.9");
  addresses.AddInterface(3, {2, 0, 0, 0, 0, 3});
  addresses.AddAddress(3, "172.16.0.1", "255.255.0.0");
  RebuildInterfaces();
  EXPECT_EQ(Get(id).identificationType, DynamicCtrlDefinition);
  EXPECT_EQ(Get(id).heardOnInterface, 2);
}

TEST_F(LifecycleTest, InterfacesAreSelectedAndDescribed) {
  addresses.AddInterface(4, {0xaa, 0xbb, 0xcc, 0xdd});
  addresses.AddAddress(4, "172.16.0.1", "255.255.0.0");
  const auto texts = [&] {
    std::wstring all;
    for (const auto& entry : interfaces.SetupLanseekInterfaces()) all += entry.addressText + L" ";
    return all;
  };
  EXPECT_EQ(texts(), L"192.168.1.5 10.0.0.5 172.16.0.1 ");
  EXPECT_EQ(traces.Messages().back(),
            L"LanSeek SetupLanseekInterfaces. Strange MAC-address for interface 172.16.0.1");
  EXPECT_EQ(interfaces.SetupLanseekInterfaces()[2].macText, "aa:bb:cc:dd:00:00");
  EXPECT_EQ(interfaces.SetupLanseekInterfaces()[0].macText, "00:1a:2b:3c:4d:5e");
  EXPECT_EQ(interfaces.SetupLanseekInterfaces()[0].broadcastAddress, platform::ParseIpv4("192.168.1.255"));
  EXPECT_TRUE(interfaces.InterfacesChanged(table.TableMutex(), network::InterfaceTable::Occasion::Notice));

  settings.SubNets = {{L"10.0.0.77", L"255.255.255.0"}, {L"172.16.0.0", L"255.255.255.0"}};
  settings.InterfaceMode = UseListed;
  EXPECT_EQ(texts(), L"10.0.0.5 ");
  settings.InterfaceMode = ExcludeListed;
  EXPECT_EQ(texts(), L"192.168.1.5 172.16.0.1 ");
  settings.SubNets.clear();
  settings.InterfaceMode = UseListed;
  EXPECT_EQ(texts(), L"");
}

TEST_F(LifecycleTest, VirtualControllersRegisterPublishAndUnregister) {
  Object object;
  GUID offered = IID_KelVirtualController;
  GUID other = IID_IUnknown;
  processes.Start(4711);
  const auto reg = [&](const wchar_t* id, GUID* iid, IUnknown* pVC) {
    const VCInterface vci{iid, pVC};
    return localVCs.RegisterVC(L"any path", id, 4711, RemoteVCPublication_True, &vci);
  };
  EXPECT_EQ(localVCs.RegisterVC(L"p", L"id", 1, RemoteVCPublication_False, nullptr), E_INVALIDARG);
  EXPECT_EQ(reg(L"id", &other, &object), E_INVALIDARG);
  EXPECT_EQ(reg(L"id", &offered, nullptr), E_INVALIDARG);
  EXPECT_EQ(reg(L"id", nullptr, &object), E_INVALIDARG);
  EXPECT_EQ(reg(L"", &offered, &object), E_INVALIDARG);
  EXPECT_EQ(object.count, 1U);
  EXPECT_EQ(reg(L"vc-1", &offered, &object), S_OK);
  EXPECT_EQ(reg(L"vc-1", &offered, &object), KEL_E_SYSTEMID_PRESENT);
  EXPECT_EQ(object.count, 2U);
  EXPECT_EQ(table.NextLanSeekID(), 12U);
  EXPECT_EQ(events.Take(), Events{});

  Forward(1, "1:Cell7;4:vc-1;7:5;8:5;");
  EXPECT_TRUE(daemon.added.empty()) << "version 5.5 is not published to others";
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlNew}}));
  EXPECT_EQ(localVCs.RemoveVC(L"nobody", false), KEL_E_NOT_FOUND);
  EXPECT_EQ(localVCs.RemoveVC(L"vc-1", true), S_OK);
  Forward(1, "1:Cell7;4:vc-1;7:6;8:0;");
  EXPECT_EQ(daemon.added, (std::vector<std::uint32_t>{11}));

  // The object's owner may call in again while it is released.
  object.onRelease = [&] { EXPECT_EQ(localVCs.RemoveVC(L"vc-1", false), KEL_E_NOT_FOUND); };
  EXPECT_EQ(localVCs.RemoveVC(L"vc-1", false), S_OK);
  EXPECT_EQ(object.count, 1U);

  object.onRelease = nullptr;
  EXPECT_EQ(reg(L"vc-2", &offered, &object), S_OK);
  processes.End(4711);
  Tick(5);
  EXPECT_TRUE(All().empty());
  EXPECT_EQ(object.count, 2U) << "the object died with its process and is not called";
}

TEST_F(LifecycleTest, AShortageOfMemoryLeavesNoVirtualControllerHalfWay) {
  const std::wstring systemID = L"an identity that is kept outside the string itself";
  Object object;
  // Its owner's code takes the table lock (and no memory).
  object.onRelease = [&] { localVCs.RemoveVC(L"", false); };
  GUID offered = IID_KelVirtualController;
  const VCInterface vci{&offered, &object};
  std::size_t shortages = 0;
  const auto untilItSucceeds = [&](const auto& attempt, const auto& expectUnchanged) {
    for (std::size_t after = 0;; ++after, ++shortages) {
      try {
        const FailingAllocation failing(after);
        EXPECT_EQ(attempt(), S_OK);
        if (!failing.Happened()) return;
        ADD_FAILURE() << "the shortage went unnoticed";
      } catch (const std::bad_alloc&) {
        expectUnchanged();
      }
    }
  };
  untilItSucceeds([&] { return localVCs.RegisterVC(L"path", systemID, 1, RemoteVCPublication_True, &vci); },
                  [&] {
                    EXPECT_EQ(object.count, 1U);
                    EXPECT_TRUE(All().empty());
                  });
  EXPECT_EQ(object.count, 2U);
  const std::uint32_t id = All().at(0).lanSeekID;
  Forward(1, "4:" + std::string(systemID.begin(), systemID.end()) + ";7:6;8:0;");
  events.Take();
  events.queued.reserve(1);
  daemon.messages.reserve(1);
  untilItSucceeds([&] { return localVCs.RemoveVC(systemID, false); },
                  [&] {
                    EXPECT_TRUE(events.queued.empty());
                    EXPECT_TRUE(daemon.messages.empty());
                    EXPECT_TRUE(Get(id).published);
                  });
  EXPECT_EQ(events.Take(), (Events{{id, CtrlRemoved, CtrlLostPowerDown}}));
  EXPECT_EQ(daemon.messages.size(), 1U);
  EXPECT_EQ(object.count, 1U);
  EXPECT_GE(shortages, 5U) << "in each of the two calls";

  CtrlInfo taken;
  {
    const CtrlTable::Lock lock(table);
    taken.lanSeekID = table.NextLanSeekID();
    table.AddCtrl(taken);
  }
  EXPECT_EQ(localVCs.RegisterVC(L"path", systemID, 1, RemoteVCPublication_True, &vci), E_OUTOFMEMORY);
  EXPECT_EQ(object.count, 1U);
}

TEST_F(LifecycleTest, AnUnreportedVersionIsPublished) {
  GUID offered = IID_KelVirtualController;
  Object object;
  const VCInterface vci{&offered, &object};
  localVCs.RegisterVC(L"p", L"vc-1", 1, RemoteVCPublication_True, &vci);
  daemon.addSucceeds = false;
  Forward(1, "4:vc-1;");
  EXPECT_EQ(daemon.added.size(), 1U);
  EXPECT_EQ(traces.Messages(), (std::vector<std::wstring>{L"LanSeek. Failed to publish VC remotely p"}));
  EXPECT_EQ(localVCs.RemoveVC(L"vc-1", false), S_OK) << "before its object goes";
}

TEST_F(LifecycleTest, HostNamesAreFoundOnceAndNotForThoseWhoLeft) {
  lookup.SetName("192.168.1.20", "Cell-Host");
  Answer(1, "4:a;9:a;", "192.168.1.20");
  CtrlInfo configured;
  configured.ctrlAddress = L"10.7.7.7";
  Add(configured);
  NonLocalAnswer(1, "4:c;9:c;", "10.7.7.7");
  for (int i = 0; i < 1000; ++i) {
    Answer(1, "4:b;9:b;", "192.168.1.21");
    Answer(4, "", "192.168.1.21");
    Answer(4, "", "10.7.7.7");
    NonLocalAnswer(1, "4:c;9:c;", "10.7.7.7");
    hostNames.QueueHostNameLookup(11, L"192.168.1.20");
  }
  lookup.OnLookup([&, count = 0](platform::Ipv4) mutable {
    if (++count == 1) hostNames.QueueHostNameLookup(11, L"192.168.1.20");
    if (count == 2) throw std::runtime_error("broken");
    if (count == 3) lookup.SetName("192.168.1.20", "CELL-HOST");
  });
  events.Take();
  stopEngine.Reset();
  std::thread thread([&] { hostNames.HostNameThread(); });
  lookup.WaitForLookups(2);
  stopEngine.Set();
  thread.join();
  EXPECT_EQ(Get(11).hostName, L"Cell-Host") << "a difference in case alone changes nothing";
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlUpdated}}));
  EXPECT_EQ(lookup.Lookups(), 2U) << "two waited, and one came while the first was under way; one failed";
  EXPECT_EQ(traces.Messages(), std::vector<std::wstring>{
                                   L"LanSeek: A step of thread KelHostNames has failed and is lost: broken"});
}

}  // namespace
}  // namespace kellanseek::test
