#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "platform/CodePage.h"
#include "tests/component/ComponentHarness.h"
#include "tests/component/FakeVC.h"
#include "tests/support/FailingAllocation.h"
#include "text/Utf8.h"

namespace kellanseek::test {
namespace {

using Json = nlohmann::json;

class DiagnosticsTest : public testing::Test, protected ComponentHarness {
 protected:
  Json Report() {
    KelBstr text;
    EXPECT_EQ(seek.As<IKelLanSeekDiagnostics>()->GetReport(text.Put()), S_OK);
    return Json::parse(text::ToUtf8(text.Text()));
  }
  /// The first report for which `done` holds, or the one after ten seconds.
  template <typename Done>
  Json ReportWhen(Done done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    Json report = Report();
    while (!done(report) && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
      report = Report();
    }
    return report;
  }
};

TEST_F(DiagnosticsTest, TheReportTellsWhatWasReceivedAndWhyThingsWereDropped) {
  Create();
  ASSERT_TRUE(network.WaitUntilOpened());
  const auto object = FakeVC::Make();
  ASSERT_EQ(Register(L"soft", object.Get()), S_OK);
  AddRemote(L"10.9.9.9");
  // So many that a receiver that paused after each would not come to the last.
  for (int i = 0; i < 198; ++i) network.Inject("no message", "192.168.1.20");
  for (const std::size_t length : {1001U, 1000U, 10U})
    network.Inject(std::string(length, 'x'), "192.168.1.20");
  network.Inject("Lanseek;ff;1;4:sys;", "192.168.1.20");
  network.Inject(InjectedNetwork::Datagram(5, ""), "192.168.1.5", InjectedNetwork::kRequest);
  network.Inject(InjectedNetwork::Datagram(5, ""), "192.168.1.21", InjectedNetwork::kRequest);
  Appear("twin", "192.168.1.20", "1:Upper;");
  network.Inject(InjectedNetwork::Datagram(1, "4:twin;9:other;1:Lower;"), "192.168.1.30");

  // The component is not told of this change.
  addresses.AddAddress(1, "192.168.7.5", "255.255.255.0");
  // The receiver has handled all of them when it lists the last one.
  Appear("last", "192.168.1.99");
  const Json report =
      ReportWhen([](const Json& each) { return each["controllers"].back()["systemId"] == "last"; });
  EXPECT_EQ(report["v"], 1);
  EXPECT_EQ(report["codePage"], platform::CodePageName());
  const Json& received = report["received"];
  EXPECT_EQ(received["onRequestSockets"], 1) << "the host's own request does not count";
  EXPECT_EQ(received["onResponseSockets"], 204);
  EXPECT_EQ(received["byType"]["5"], 1);
  EXPECT_EQ(received["dropped"]["own"], 1);
  EXPECT_EQ(received["dropped"]["malformed"], 200);
  EXPECT_EQ(received["dropped"]["readErrors"], 1) << "the longest message has 1000 bytes";
  EXPECT_EQ(received["dropped"]["lengthMismatch"], 1);
  EXPECT_EQ(received["dropped"]["colliding"], 1);
  EXPECT_EQ(received["dropped"]["failedSteps"], 0);
  EXPECT_EQ(received["lastMalformed"], Json({{"from", "192.168.1.20"}, {"text", "xxxxxxxxxx"}}));

  EXPECT_EQ(report["table"], Json({{"records", 3},
                                   {"listed", 1},
                                   {"real", 2},
                                   {"virtual", 1},
                                   {"remoteVirtual", 0},
                                   {"dynamic", 2},
                                   {"configured", 0},
                                   {"added", 1},
                                   {"dynamicLimit", 65536},
                                   {"neverHeard", {"10.9.9.9"}}}));
  EXPECT_EQ(report["queues"]["hostNames"]["highest"], 1);

  ASSERT_EQ(report["collisions"].size(), 1U);
  const Json& collision = report["collisions"][0];
  EXPECT_EQ(collision["kind"], "identity");
  EXPECT_EQ(collision["known"]["name"], "Upper");
  EXPECT_TRUE(collision["known"]["id"].is_number());
  EXPECT_EQ(collision["heard"]["id"], nullptr) << "it has no record";
  EXPECT_EQ(collision["heard"]["name"], "Lower");
  EXPECT_EQ(collision["heard"]["address"], "192.168.1.30");

  ASSERT_EQ(report["interfaces"].size(), 2U);
  EXPECT_EQ(report["interfaces"][1]["why"], "notYet");
  EXPECT_EQ(report["interfaces"][0]["address"], "192.168.1.5");
  EXPECT_EQ(report["interfaces"][0]["used"], true);
  EXPECT_TRUE(report["interfaces"][0]["lastDatagramMsAgo"].is_number());
  std::set<std::string> threads;
  for (const Json& thread : report["threads"]) {
    threads.insert(thread["name"]);
    EXPECT_EQ(thread["started"], true) << thread;
  }
  EXPECT_EQ(threads, (std::set<std::string>{"KelAddrWatch", "KelDaemon", "KelEvents", "KelHostNames",
                                            "KelReceiver", "KelRefresh"}));

  network.Inject(InjectedNetwork::Datagram(1, "4:far;9:far;"), "10.9.9.9", InjectedNetwork::kNonLocal);
  const auto answered = [](const Json& later) { return later["table"]["neverHeard"].empty(); };
  const Json added = ReportWhen(answered)["controllers"][1];
  EXPECT_EQ(added["address"], "10.9.9.9");
  EXPECT_TRUE(added["firstHeardMsAgo"].is_number() && added["lastHeardMsAgo"].is_number()) << added;
}

TEST_F(DiagnosticsTest, TheReportTellsWhereTheConfigurationComesFromAndWhoNeverAnswered) {
  Configure(
      In("CommunicationSettings", In("RefreshInterval", "30")) +
          In("UseInterfaces", In("SubNet", In("IPNumber", "10.1.0.0") + In("SubNetMask", "255.255.0.0"))),
      StaticController("10.9.9.1", "a") + StaticController("none", "b"));
  Create();
  ASSERT_TRUE(network.WaitUntilOpened());

  const Json report = Report();
  const Json& configuration = report["configuration"];
  EXPECT_EQ(configuration["settingsFile"]["state"], "read");
  EXPECT_EQ(configuration["controllersFile"]["state"], "read");
  EXPECT_EQ(configuration["settings"]["RefreshInterval"], Json({{"value", 30}, {"from", "file"}}));
  EXPECT_EQ(configuration["settings"]["Retries"]["from"], "default");
  EXPECT_EQ(configuration["controllersListed"], 2);
  EXPECT_EQ(configuration["controllersAccepted"], 1);
  EXPECT_EQ(report["interfaces"][0]["why"], "notListed");
  EXPECT_EQ(report["table"]["neverHeard"], Json({"10.9.9.1"}));
  EXPECT_EQ(report["controllers"][0]["lastHeardMsAgo"], nullptr);
  for (const char* queue : {"events", "hostNames", "daemon"})
    EXPECT_EQ(report["queues"][queue], Json({{"now", 0}, {"highest", 0}})) << queue;

  directory.Write("lanseekconf.xml", "no XML");
  Create();
  const Json refused = Report();
  EXPECT_EQ(refused["configuration"]["settingsFile"]["state"], "refused");
  EXPECT_NE(refused["configuration"]["settingsFile"]["remark"], "");
  EXPECT_EQ(refused["table"]["neverHeard"], Json({"10.9.9.1"})) << "each file counts by itself";

  std::filesystem::remove(directory.File("lanseekconf.xml"));
  Create();
  const Json absent = Report()["configuration"];
  EXPECT_EQ(absent["settingsFile"]["state"], "absent");
  EXPECT_EQ(absent["interfaceMode"], "all");
}

TEST_F(DiagnosticsTest, TheReportNamesTheInterfaceThatTheSystemRefused) {
  network.Refuse(platform::ParseIpv4("192.168.1.5"));
  Create();
  const auto refused = [](const Json& report) {
    return report["interfaces"][0].value("why", "") == "refused";
  };
  const Json entry = ReportWhen(refused)["interfaces"][0];
  EXPECT_EQ(entry["why"], "refused");
  EXPECT_EQ(entry["refused"], Json({{"step", "bind"}, {"port", 5512}, {"error", 99}}));
}

TEST_F(DiagnosticsTest, AReportWithoutMemoryFailsAndTheNextIsWhole) {
  NEEDS_FAILING_ALLOCATIONS();
  Create();
  const auto diagnostics = seek.As<IKelLanSeekDiagnostics>();
  std::size_t failures = 0;
  for (bool happened = true; happened; ++failures) {
    KelBstr text;
    HRESULT result = S_OK;
    {
      const FailingAllocation failing(failures);
      result = diagnostics->GetReport(text.Put());
      happened = failing.Happened();
    }
    ASSERT_EQ(result, happened ? E_OUTOFMEMORY : S_OK) << failures;
    ASSERT_EQ(text.Get() == nullptr, happened);
  }
  EXPECT_GT(failures, 20U);
  EXPECT_EQ(Report()["v"], 1);
}

TEST_F(DiagnosticsTest, NullPointersAreRefused) {
  Create();
  const auto diagnostics = seek.As<IKelLanSeekDiagnostics>();
  EXPECT_EQ(diagnostics->GetReport(nullptr), E_POINTER);
  EXPECT_EQ(diagnostics->GetSweeps(nullptr), E_POINTER);
  ULONG sweeps = 7;
  EXPECT_EQ(diagnostics->GetSweeps(&sweeps), S_OK);
  EXPECT_EQ(sweeps, 0U);
}

}  // namespace
}  // namespace kellanseek::test
