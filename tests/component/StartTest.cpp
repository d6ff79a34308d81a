#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

constexpr const char* kSilent =
    "<CommunicationSettings><DynamicDetectionEnabled>0</DynamicDetectionEnabled>"
    "<NonLocalUpdatesEnabled>0</NonLocalUpdatesEnabled></CommunicationSettings>";

std::string Controller(const std::string& address, const std::string& systemID) {
  return "<ControllerIdentity><ControllerLocAddr>" + address + "</ControllerLocAddr><SystemIdentity>" +
         systemID +
         "</SystemIdentity><MajorVersion>5</MajorVersion><MinorVersion>1</MinorVersion><Revision>2</Revision>"
         "</ControllerIdentity>";
}

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
  Create();
  EXPECT_EQ(traces.Messages(),
            (Texts{L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir."}));
  EXPECT_EQ(traces.Writes().at(1), L"KelLanSeekImpl");
  EXPECT_EQ(List(), std::vector<ULONG>());
}

TEST_F(StartTest, ADirectoryThatDoesNotFitTheBufferIsNotRead) {
  registry.values[{kConfigKey, L"ConfigDir"}] = std::wstring(260, L'd');
  Create();
  EXPECT_EQ(traces.Messages().front(),
            L"CKelLanSeek::FinalConstruct. Could not read the registry key ConfigDir.");
}

TEST_F(StartTest, ADirectoryWithoutFilesIsNoFailure) {
  registry.values[{kConfigKey, L"ConfigDir"}] = directory.Wide();
  Create();
  EXPECT_EQ(traces.Messages(), Texts());
}

TEST_F(StartTest, StaticControllersAreNumberedFromElevenWithoutGaps) {
  Configure("", Controller("10.0.0.1", "a") + Controller("nonsense", "b") + Controller("10.0.0.1", "c") +
                    Controller("255.255.255.255", "d") + Controller("10.0.0.2", "a"));
  Create();
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1", L"10.0.0.2"}));
  EXPECT_EQ(List(), std::vector<ULONG>()) << "not confirmed by the network yet";
  EXPECT_EQ(
      traces.Messages(),
      (Texts{L"Lanseek configuration: Static controller has invalid IP-address nonsense. Removed.",
             L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1.",
             L"Lanseek configuration: Static controller has invalid IP-address 255.255.255.255. Removed."}));
}

TEST_F(StartTest, WithNothingToAskStaticControllersAreListedAtOnce) {
  Configure(kSilent, Controller("10.0.0.1", "a") + Controller("10.0.0.2", "a") + Controller("10.0.0.3", "b"));
  Create();
  EXPECT_EQ(List(), (std::vector<ULONG>{11, 12}));
  KelCtrlAvailability status = CtrlRemoved;
  EXPECT_EQ(identity->GetCtrlStatus(12, &status), S_OK);
  EXPECT_EQ(status, CtrlAvailable);
  EXPECT_EQ(KnownAddresses(), (Texts{L"10.0.0.1", L"10.0.0.3"}));
}

TEST_F(StartTest, ARejectedFileLeavesTheOther) {
  Configure(kSilent, Controller("10.0.0.1", "a"));
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
  ULONG id = 0;
  EXPECT_EQ(additions->AddRemoteController(KelBstr(L"10.9.9.9").Get(), &id), S_OK);
  EXPECT_TRUE(network.WaitForRequestByAddress()) << "the refresh thread goes on";
  network.Inject(InjectedNetwork::Datagram(1, "4:a;9:00-1;"), "192.168.1.20");
  EXPECT_EQ(sink->WaitForTexts(1), (Texts{L"12;1;0;"})) << "the receiver goes on";
}

TEST_F(StartTest, ObjectsShareNothing) {
  Create();
  ComponentHarness other;
  other.Create();
  ULONG id = 0;
  EXPECT_EQ(additions->AddRemoteController(KelBstr(L"10.9.9.9").Get(), &id), S_OK);
  EXPECT_EQ(id, 11U);
  KelBstr address;
  EXPECT_EQ(other.identity->GetCtrlAddress(11, address.Put()), E_INVALIDARG);
  EXPECT_EQ(ErrorText(), L"");
}

}  // namespace
}  // namespace kellanseek::test
