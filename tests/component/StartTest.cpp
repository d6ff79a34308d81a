#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

class StartTest : public testing::Test, protected ComponentHarness {
 protected:
  /// What the object knows, listed or not.
  Texts KnownAddresses() {
    Texts addresses;
    for (ULONG id = 11;; ++id) {
      KelBstr address;
      if (identity->GetCtrlAddress(id, address.Put()) != S_OK) return addresses;
      addresses.push_back(address.Text());
    }
  }
};

TEST_F(StartTest, WithoutADirectoryItRunsOnDefaults) {
  struct Case {
    const char* what;
    std::optional<std::wstring> directory;
    Texts messages;
  };
  const Texts unread = {L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir."};
  for (const Case& test :
       {Case{"none", std::nullopt, unread}, Case{"too long for the buffer", std::wstring(260, L'd'), unread},
        Case{"without files", directory.Wide(), {}}}) {
    SCOPED_TRACE(test.what);
    ComponentHarness world;
    if (test.directory) world.registry.values[{kConfigKey, L"ConfigDir"}] = *test.directory;
    world.Create();
    EXPECT_EQ(world.traces.Messages(), test.messages);
    if (!test.messages.empty()) {
      EXPECT_EQ(world.traces.Writes().at(1), L"KelLanSeekImpl");
    }
    EXPECT_EQ(world.List(), std::vector<ULONG>());
  }
}

TEST_F(StartTest, StaticControllersAreNumberedFromElevenWithoutGaps) {
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

TEST_F(StartTest, WithNothingToAskStaticControllersAreListedAtOnce) {
  Configure(NothingAsked(), StaticController("10.0.0.1", "a") + StaticController("10.0.0.2", "a") +
                                StaticController("10.0.0.3", "b"));
  Create();
  EXPECT_EQ(List(), (std::vector<ULONG>{11, 12}));
  KelCtrlAvailability status = CtrlRemoved;
  EXPECT_EQ(identity->GetCtrlStatus(12, &status), S_OK);
  EXPECT_EQ(status, CtrlAvailable);
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1", L"10.0.0.3"}));
}

TEST_F(StartTest, ARejectedFileLeavesTheOther) {
  Configure(NothingAsked(), StaticController("10.0.0.1", "a"));
  directory.Write("lanseekconf.xml", "<?xml version=\"1.0\" encoding=\"utf-8\"?><KelLanSeekConfigurations/>");
  Create();
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1"}));
  EXPECT_EQ(List(), std::vector<ULONG>());
}

TEST_F(StartTest, ItsThreadsOutliveAShortageOfMemory) {
  network.RunShortOfMemory(3, 1);
  Create();
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  AddRemote(L"10.9.9.9");
  EXPECT_TRUE(network.WaitForRequestByAddress()) << "the refresh thread goes on";
  Appear("a", "192.168.1.20");
  EXPECT_EQ(sink->WaitForTexts(1), (Texts{L"12;1;0;"})) << "the receiver goes on";
}

TEST_F(StartTest, ObjectsShareNothing) {
  Create();
  ComponentHarness other;
  other.Create();
  EXPECT_EQ(AddRemote(L"10.9.9.9"), 11U);
  KelBstr address;
  EXPECT_EQ(other.identity->GetCtrlAddress(11, address.Put()), E_INVALIDARG);
  EXPECT_EQ(ErrorText(), L"");
}

}  // namespace
}  // namespace kellanseek::test
