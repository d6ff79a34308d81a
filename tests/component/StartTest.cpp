#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

class StartTest : public testing::Test, protected ComponentHarness {
 protected:
  /// The addresses of all known controllers, listed or not.
  Texts KnownAddresses() {
    Texts addresses;
    for (ULONG id = 11;; ++id) {
      KelBstr address;
      if (identity->GetCtrlAddress(id, address.Put()) != S_OK) return addresses;
      addresses.push_back(address.Text());
    }
  }
};

TEST_F(StartTest, TracesADirectoryThatIsTooLongForTheBuffer) {
  registry.values[{kConfigKey, L"ConfigDir"}] = std::wstring(260, L'd');
  Create();
  EXPECT_EQ(traces.Messages(),
            Texts{L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir."});
  EXPECT_EQ(traces.Writes().at(1), L"KelLanSeekImpl");
}

TEST_F(StartTest, StaticControllersGetConsecutiveIdsFromEleven) {
  Configure("", StaticController("10.0.0.1", "a") + StaticController("nonsense", "b") +
                    StaticController("10.0.0.1", "c") + StaticController("255.255.255.255", "d") +
                    StaticController("10.0.0.2", "a"));
  Create();
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1", L"10.0.0.2"}));
  EXPECT_EQ(List(), std::vector<ULONG>()) << "not confirmed by the network yet";
  KelCtrlAvailability status = CtrlRemoved;
  EXPECT_EQ(identity->GetCtrlStatus(11, &status), S_OK);
  EXPECT_EQ(status, CtrlUnavailable);
  EXPECT_EQ(
      traces.Messages(),
      (Texts{L"Lanseek configuration: Static controller has invalid IP-address nonsense. Removed.",
             L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1.",
             L"Lanseek configuration: Static controller has invalid IP-address 255.255.255.255. Removed."}));
}

TEST_F(StartTest, InCompleteInfoModeStaticControllersAreListedAtOnce) {
  Configure(NothingAsked(), StaticController("10.0.0.1", "a") + StaticController("10.0.0.2", "a") +
                                StaticController("10.0.0.1", "a") + StaticController("10.0.0.3", "b"));
  Create();
  EXPECT_EQ(List(), (std::vector<ULONG>{11, 12}));
  KelCtrlAvailability status = CtrlRemoved;
  EXPECT_EQ(identity->GetCtrlStatus(12, &status), S_OK);
  EXPECT_EQ(status, CtrlAvailable);
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1", L"10.0.0.3"}));
  EXPECT_EQ(
      traces.Messages(),
      (Texts{L"LanSeek configuration: System ID conflict for static controllers 10.0.0.1 and 10.0.0.2. The "
             L"latter is removed",
             L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1."}));
}

TEST_F(StartTest, ThreadsSurviveExceptionsInTheirSteps) {
  struct Case {
    std::function<void()> thrower;
    Texts messages;
  };
  const auto lost = [](const wchar_t* thread) {
    return std::wstring(L"LanSeek: A step of thread ") + thread + L" has failed and is lost: broken";
  };
  for (const Case& test :
       {Case{[] { throw std::bad_alloc(); }, {L"Lanseek::NotifyAddrChangeLoop error create event\n"}},
        Case{[] { throw std::runtime_error("broken"); },
             {lost(L"KelAddrWatch"), lost(L"KelReceiver"), lost(L"KelRefresh"),
              L"Lanseek::NotifyAddrChangeLoop error create event\n"}}}) {
    ComponentHarness world;
    world.Configure("", "");
    world.network.Fail(test.thrower, 3, 1);
    component::ComponentEnvironment environment = world.environment;
    environment.engine.watchAddressChanges = [&] {
      test.thrower();
      return nullptr;
    };
    const auto begin = std::chrono::steady_clock::now();
    world.Create(environment);
    const auto sink = FakeSink::Make();
    world.Subscribe(sink.Get());
    world.AddRemote(L"10.9.9.9");
    EXPECT_TRUE(world.network.WaitForRequestByAddress()) << "the refresh thread goes on";
    world.Appear("a", "192.168.1.20");
    EXPECT_EQ(sink->WaitForTexts(1), (Texts{L"12;1;0;"})) << "the receiver goes on";
    world.ReleaseAll();
    const auto looks = 1 + (std::chrono::steady_clock::now() - begin) / std::chrono::seconds(2);
    EXPECT_GE(world.network.DropsAsked(), 3) << "each socket at the end";
    EXPECT_LE(world.network.DropsAsked(), 3 * looks) << "and every eighth tick";
    // The threads trace concurrently, so the pieces of their traces may mix.
    Texts messages = world.traces.Writes();
    std::erase_if(messages, [](const std::wstring& text) { return !text.starts_with(L"Lan"); });
    std::sort(messages.begin(), messages.end());
    EXPECT_EQ(messages, test.messages);
  }
}

TEST_F(StartTest, OmitsAStaticControllerIfMemoryIsExhausted) {
  NEEDS_FAILING_ALLOCATIONS();
  Configure("", StaticController("10.0.0.1", "a") + StaticController("10.0.0.2", "b") +
                    StaticController("10.0.0.3", "c"));
  int leftOut[3] = {};
  for (std::size_t after = 0;; ++after) {
    SCOPED_TRACE(after);
    ComponentHarness world;
    world.registry.values = registry.values;
    KelComPtr<IUnknown> object;
    {
      const FailingAllocation failing(after);
      const HRESULT result = component::CKelLanSeek::Create(nullptr, IID_IUnknown, object.PutVoid(),
                                                            world.environment, world.module);
      if (!failing.Happened()) break;
      EXPECT_EQ(result, object ? S_OK : E_OUTOFMEMORY);
    }
    if (!object) continue;
    for (ULONG which = 0; which < 3; ++which) {
      const std::wstring address = L"10.0.0." + std::to_wstring(which + 1);
      if (world.traces.Messages() !=
          Texts{L"LanSeek configuration: Error when inserting static ctrl " + address})
        continue;
      ++leftOut[which];
      for (ULONG other = 0; other < 3; ++other) {
        KelCtrlAvailability status = CtrlAvailable;
        EXPECT_EQ(object.As<IKelCtrlIdentity3>()->GetCtrlStatus(11 + other, &status), S_OK);
        EXPECT_EQ(status, other == which ? CtrlRemoved : CtrlUnavailable);
      }
    }
  }
  for (const int times : leftOut) EXPECT_GE(times, 1);
}

}  // namespace
}  // namespace kellanseek::test
