#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/EngineHarness.h"
#include "tests/support/FailingAllocation.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;
using controllers::CtrlTable;

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

class LifecycleTest : public ::testing::Test, protected EngineHarness {};

TEST_F(LifecycleTest, InternalErrorsAreTraced) {
  CtrlInfo vc;
  vc.ctrlType = VC;
  vc.ctrlAddress = L"path";
  vc.remotePublication = RemoteVCPublication_True;
  vc.published = true;
  const std::uint32_t id = Add(vc);
  CtrlTable::Access access(table);
  lifecycle.RemoveActiveCtrl(access, access.Find(id), CtrlLostLAN);
  EXPECT_EQ(daemon.messages, (std::vector<RecordingDaemon::Message>{{4, -1, id}}));
  refresh.StartRefreshCycle(access, kFirstInterface, protocol::MessageType::TargetedRequestMsg);
  EXPECT_EQ(
      traces.Messages(),
      (std::vector<std::wstring>{L"LanSeek RemoveActiveCtrl. Unexpected removal reason 3 for remote VC path",
                                 L"LanSeek: StartRefreshCycle internal error. Bad message type"}));
}

TEST_F(LifecycleTest, InterfacesAreSelectedAndDescribed) {
  addresses.AddInterface(4, {0xaa, 0xbb, 0xcc, 0xdd});
  addresses.AddAddress(4, "172.16.0.1", "255.255.0.0");
  addresses.AddAddress(4, "0.0.0.0", "255.0.0.0");
  const auto texts = [&] {
    std::wstring all;
    const network::InterfaceTable usable = host.SetupLanseekInterfaces();
    for (const network::InterfaceEntry& entry : usable.Entries()) all += entry.addressText + L" ";
    return all;
  };
  EXPECT_EQ(texts(), L"192.168.1.5 10.0.0.5 172.16.0.1 ");
  EXPECT_EQ(traces.Messages().back(),
            L"LanSeek SetupLanseekInterfaces. Strange MAC-address for interface 172.16.0.1");
  EXPECT_EQ(host.SetupLanseekInterfaces().Entries()[2].macText, "aa:bb:cc:dd:00:00");
  EXPECT_EQ(host.SetupLanseekInterfaces().Entries()[0].macText, "00:1a:2b:3c:4d:5e");
  EXPECT_EQ(host.SetupLanseekInterfaces().Entries()[0].broadcastAddress,
            platform::ParseIpv4("192.168.1.255"));
  {
    CtrlTable::Access access(table);
    EXPECT_TRUE(logic.interfaces.Changed(access, host.UsableKeys(), engine::RunInterfaces::Occasion::Notice));
  }

  settings.SubNets = {{L"10.0.0.77", L"255.255.255.0"}, {L"172.16.0.0", L"255.255.255.0"}};
  settings.InterfaceMode = config::UseListed;
  EXPECT_EQ(texts(), L"10.0.0.5 ");
  settings.InterfaceMode = config::ExcludeListed;
  EXPECT_EQ(texts(), L"192.168.1.5 172.16.0.1 ");
  settings.SubNets.clear();
  settings.InterfaceMode = config::UseListed;
  EXPECT_EQ(texts(), L"");
}

TEST_F(LifecycleTest, RegistrationChecksTheObjectAndAllowsReentrantCalls) {
  Object object;
  GUID offered = IID_KelVirtualController;
  GUID other = IID_IUnknown;
  const auto reg = [&](GUID* iid, IUnknown* pVC) {
    const VCInterface vci{iid, pVC};
    return localVCs.RegisterVC(L"any path", L"vc-1", 4711, RemoteVCPublication_True, &vci);
  };
  EXPECT_EQ(localVCs.RegisterVC(L"p", L"id", 1, RemoteVCPublication_False, nullptr), E_INVALIDARG);
  EXPECT_EQ(reg(&other, &object), E_INVALIDARG);
  EXPECT_EQ(reg(&offered, nullptr), E_INVALIDARG);
  EXPECT_EQ(reg(nullptr, &object), E_INVALIDARG);
  EXPECT_EQ(object.count, 1U);
  EXPECT_EQ(reg(&offered, &object), S_OK);
  object.onRelease = [&] { EXPECT_EQ(localVCs.RemoveVC(L"vc-1", false), KEL_E_NOT_FOUND); };
  EXPECT_EQ(localVCs.RemoveVC(L"vc-1", false), S_OK);
  EXPECT_EQ(object.count, 1U);
}

TEST_F(LifecycleTest, OutOfMemoryLeavesNoVirtualControllerHalfRegistered) {
  NEEDS_FAILING_ALLOCATIONS();
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
    taken.lanSeekID = table.NextLanSeekID();
    CtrlTable::Access(table).Add(taken);
  }
  EXPECT_EQ(localVCs.RegisterVC(L"path", systemID, 1, RemoteVCPublication_True, &vci), E_OUTOFMEMORY);
  EXPECT_EQ(object.count, 1U);
}

TEST_F(LifecycleTest, HostNamesAreLookedUpOnceAndNotForRemovedControllers) {
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
    hostNames.QueueHostNameLookup(11, platform::ParseIpv4("192.168.1.20"));
  }
  lookup.OnLookup([&, count = 0](platform::Ipv4) mutable {
    if (++count == 1) hostNames.QueueHostNameLookup(11, platform::ParseIpv4("192.168.1.20"));
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
