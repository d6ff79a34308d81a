#include "daemon/VCDaemon.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "config/Settings.h"
#include "daemon/Publication.h"
#include "network/HostInterfaces.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;
using controllers::CtrlTable;

using protocol::MessageType;
using Sent = std::vector<std::string>;

class RecordingAnswers : public network::AnswerSender {
 public:
  platform::SocketError Answer(controllers::InterfaceIndex interfaceIndex, std::string_view datagram,
                               platform::Ipv4& destination) override {
    sent.push_back(std::to_string(PlaceOf(interfaceIndex)) + " " + std::string(datagram));
    destination = platform::ParseIpv4("10.0.0.255");
    return error;
  }
  Sent Take() { return std::exchange(sent, {}); }

  Sent sent;
  platform::SocketError error = 0;
};

class VCDaemonTest : public ::testing::Test {
 protected:
  VCDaemonTest() {
    addresses.AddInterface(1, {0x02, 0x00, 0x00, 0x4f, 0x8e, 0x35});
    addresses.AddAddress(1, "192.168.1.5", "255.255.255.0");
    addresses.AddInterface(2, {0x02, 0x00, 0x00, 0x00, 0x00, 0x02});
    addresses.AddAddress(2, "10.0.0.5", "255.255.255.0");
    Rebuild();
  }

  void Rebuild() {
    CtrlTable::Access access(table);
    daemon.RefreshAfterReInit(access, host.SetupLanseekInterfaces());
  }

  /// Publishes a record with this system identity. It is in the table, so that a rebuild finds it.
  CtrlInfo Publish(const wchar_t* systemID) {
    CtrlInfo record;
    record.ctrlType = VC;
    record.systemID = systemID;
    CtrlTable::Access access(table);
    record.lanSeekID = access.IssueLanSeekID();
    const CtrlInfo& added = *access.Add(record);
    EXPECT_TRUE(daemon.AddRemoteVC(added));
    return added;
  }
  void PublishQuietly(const wchar_t* systemID) {
    Publish(systemID);
    Step(0);
    sender.Take();
  }
  std::int32_t Step(std::int32_t elapsed) { return daemon.Step(sender, elapsed); }
  /// A run that is stopped at once.
  void Run() {
    platform::Event stop(platform::Event::Kind::ManualReset);
    stop.Set();
    daemon.RemoteVCDaemonLoop(sender, socketsReady, stop);
  }
  void Queue(std::int32_t type, std::int32_t number, std::uint32_t id = 0) {
    std::optional<controllers::InterfaceIndex> interfaceIndex;
    if (number >= 0) interfaceIndex = controllers::InterfaceIndex(number);
    EXPECT_TRUE(daemon.QueueMessageForRemoteVC(static_cast<protocol::MessageType>(type), interfaceIndex, id));
  }

  config::CKelLanSeekConfigSettings settings;
  FakeDebugOutput traces;
  FakeNetworkAddresses addresses;
  CtrlTable table;
  network::HostInterfaces host{addresses, settings, traces};
  RecordingAnswers sender;
  platform::Event socketsReady{platform::Event::Kind::ManualReset};
  std::uint32_t randomNumber = 300;
  bool randomFails = false;
  daemon::CrVCDaemon daemon{[this] {
                              if (randomFails) throw std::runtime_error("broken");
                              return randomNumber;
                            },
                            traces};
};

const char* const kAlive0 = "0 Lanseek;02e;2;4:vc-1;9:02:00:00:4f:8e:35;11:3;";
const char* const kInfo0 = "0 Lanseek;02e;1;4:vc-1;9:02:00:00:4f:8e:35;11:3;";
const char* const kInfo1 = "1 Lanseek;02e;1;4:vc-1;9:02:00:00:00:00:02;11:3;";

TEST(Publication, DatagramsByteForByte) {
  CtrlInfo record;
  record.ctrlName = L"Cell7";
  record.systemID = L"12-34567";
  record.versionMajor = 6;
  record.versionMinor = 1;
  record.versionRevision = 2;
  record.kelAPICompatibilityRevision = 5;
  EXPECT_EQ(daemon::BuildFullMessage(record, "02:00:00:4f:8e:35"),
            "Lanseek;04b;1;1:Cell7;4:12-34567;7:6;8:1;f:2;10:5;9:02:00:00:4f:8e:35;11:3;");
  record.ctrlID = L"id";
  record.systemName = L"Sys\u00e9";
  record.releasePath = L"/r";
  record.commPortNumber = 5515;
  record.versionMinor = controllers::kVersionUnknown;
  EXPECT_EQ(daemon::BuildFullMessage(record, ""),
            "Lanseek;052;1;1:Cell7;2:id;3:Sys\xe9;3:Sys\xe9;4:12-34567;5:/r;7:6;f:2;10:5;b:5515;11:3;");
  EXPECT_EQ(daemon::BuildShortMessage(record, "m"), "Lanseek;029;2;4:12-34567;b:5515;9:m;11:3;");
  EXPECT_EQ(daemon::BuildNotice(MessageType::CtrlRestartMsg, L"12-34567"), "Lanseek;01e;3;4:12-34567;11:3;");
  EXPECT_EQ(daemon::BuildFullMessage(CtrlInfo(), ""), "Lanseek;013;1;11:3;");
}

TEST(Publication, OverlongDatagramsAreNotBuilt) {
  CtrlInfo record;
  record.releasePath = std::wstring(999 - 19 - 3, L'p');
  EXPECT_EQ(daemon::BuildFullMessage(record, "").size(), 999U);
  record.releasePath = std::wstring(999 - 19 - 3 + 1, L'p');
  EXPECT_EQ(daemon::BuildFullMessage(record, ""), "");
  record.systemID = std::wstring(499 - 19 - 3, L's');
  EXPECT_EQ(daemon::BuildShortMessage(record, "").size(), 499U);
  record.systemID += L's';
  EXPECT_EQ(daemon::BuildShortMessage(record, ""), "");
  EXPECT_EQ(daemon::BuildNotice(MessageType::CtrlPowerDownMsg, std::wstring(49, L's')).size(), 71U);
  EXPECT_EQ(daemon::BuildNotice(MessageType::CtrlPowerDownMsg, std::wstring(50, L's')), "");
}

TEST(Elapsed, IsCappedAndHandlesClockWrapAround) {
  struct Case {
    std::uint32_t last, now;
    std::int32_t elapsed;
  };
  for (const Case& c :
       {Case{5, 5, 0}, Case{5, 12, 7}, Case{0xFFFFFFFE, 3, 4}, Case{0, 0x7FFFFFFE, 0x7FFFFFFE},
        Case{0, 0x7FFFFFFF, 0x7FFFFFFE}, Case{1, 0, 0x7FFFFFFE}}) {
    EXPECT_EQ(daemon::ElapsedBetween(c.last, c.now), c.elapsed) << c.last << " to " << c.now;
  }
}

TEST_F(VCDaemonTest, AnswersAfterTheDelayAndFullAnswersReplaceShortOnes) {
  PublishQuietly(L"vc-1");
  for (const auto& requests : {std::vector<std::int32_t>{7, 5}, {5, 7}, {5}, {7, 7, 6}}) {
    for (const std::int32_t type : requests) Queue(type, 0);
    EXPECT_EQ(Step(77), 500) << "200 plus the random number modulo 3000";
    EXPECT_EQ(Step(489), 11);
    EXPECT_EQ(sender.Take(), Sent{});
    EXPECT_EQ(Step(1), daemon::kNothingScheduled) << "10 ms are near enough";
    EXPECT_EQ(sender.Take(), Sent{kInfo0});
  }
  Queue(7, 0);
  randomNumber = 0xFFFFFFFF;
  EXPECT_EQ(Step(0), static_cast<std::int32_t>(0xFFFFFFFFU % 3000 + 200));
  Step(4000);
  EXPECT_EQ(sender.Take(), Sent{kAlive0});
}

TEST_F(VCDaemonTest, AStormOfRequestsIsAnsweredOnce) {
  const std::uint32_t id = Publish(L"vc-1").lanSeekID;
  Step(0);
  sender.Take();
  for (int i = 0; i < 1000; ++i) {
    Queue(5, 0);
    if (i % 10 == 0) Step(0);
  }
  Step(500);
  EXPECT_EQ(sender.Take(), Sent{kInfo0});
  for (int i = 0; i < 1000; ++i) {
    Queue(5, 0);
    Queue(7, 0);
    Queue(6, -1);
    Queue(6, 0, id);
  }
  Step(0);
  Step(500);
  EXPECT_EQ(sender.Take(), Sent{kInfo0});
  EXPECT_EQ(traces.Messages().size(), 1U) << "each of the four waits once; one of them is traced";
  for (const std::int32_t notice : {3, 4, 3}) Queue(notice, 0, id);
  Step(0);
  EXPECT_EQ(sender.Take().front(), "0 Lanseek;01a;3;4:vc-1;11:3;") << "the last one counts";
}

TEST_F(VCDaemonTest, IgnoresAmbiguousTargetedRequests) {
  PublishQuietly(L"vc-1");
  Queue(6, 1);
  Step(0);
  Step(500);
  EXPECT_EQ(sender.Take(), Sent{kInfo1});
  PublishQuietly(L"vc-2");
  Queue(6, 1);
  EXPECT_EQ(Step(0), daemon::kNothingScheduled);
  Queue(6, 1, 11);
  Step(0);
  Step(500);
  EXPECT_EQ(sender.Take(), Sent{kInfo1});
}

TEST_F(VCDaemonTest, ARemovedControllerIsWithdrawnOnEveryInterface) {
  struct Case {
    std::int32_t code;
    char type;
  };
  for (const Case& c : {Case{3, '3'}, Case{4, '4'}}) {
    const std::uint32_t id = Publish(L"vc-1").lanSeekID;
    Step(0);
    sender.Take();
    Queue(5, 0, id);
    Queue(c.code, 0, id);
    Step(0);
    const std::string notice = std::string("Lanseek;01a;") + c.type + ";4:vc-1;11:3;";
    EXPECT_EQ(sender.Take(), (Sent{"0 " + notice, "1 " + notice}));
    Queue(5, 0);
    EXPECT_EQ(Step(5000), daemon::kNothingScheduled);
    EXPECT_EQ(sender.Take(), Sent{});
  }
}

TEST_F(VCDaemonTest, AMessageThatFailsIsLostAndTheNextIsHandled) {
  PublishQuietly(L"vc-1");
  Queue(7, 0);
  randomFails = true;
  Step(0);
  randomFails = false;
  Queue(5, 1);
  EXPECT_EQ(Step(0), 500);
  EXPECT_EQ(traces.Messages(),
            std::vector<std::wstring>{L"LanSeek: A step of thread KelDaemon has failed and is lost: broken"});
}

TEST_F(VCDaemonTest, InvalidMessagesAreTracedAndIgnored) {
  Queue(5, 99);
  PublishQuietly(L"vc-1");
  for (const std::int32_t number : {-1, 2, 2147483647}) Queue(7, number);
  Queue(42, 0);
  EXPECT_EQ(Step(0), daemon::kNothingScheduled);
  EXPECT_EQ(traces.Messages().size(), 4U);
  EXPECT_EQ(traces.Messages().back(), L"LanSeek RemoteVCDaemonLoop. Unknown message type 42");
}

TEST_F(VCDaemonTest, OverlongIdentitiesAreTracedOnceAndNeverTruncated) {
  const std::uint32_t id = Publish(std::wstring(50, L's').c_str()).lanSeekID;
  Step(0);
  EXPECT_EQ(sender.Take().size(), 2U);
  Queue(4, 0, id);
  Step(0);
  EXPECT_EQ(sender.Take(), Sent{});
  EXPECT_EQ(traces.Messages().size(), 1U);
}

TEST_F(VCDaemonTest, AFailedSendIsTraced) {
  sender.error = 101;
  Publish(L"vc-1");
  Step(0);
  EXPECT_EQ(traces.Messages().front(),
            L"LANSEEK: Failed to send rVC response itf=0 addr=0xa0000ff. Error=101");
}

TEST_F(VCDaemonTest, ARebuildPreparesRemainingControllersForTheNextRequest) {
  const std::uint32_t gone = Publish(L"vc-0").lanSeekID;
  PublishQuietly(L"vc-1");
  Queue(7, 0);
  Step(0);
  addresses.RemoveAddress("10.0.0.5");
  {
    CtrlTable::Access access(table);
    access.Remove(access.Find(gone));
  }
  Rebuild();
  EXPECT_EQ(Step(5000), daemon::kNothingScheduled);
  EXPECT_EQ(sender.Take(), Sent{});
  Queue(7, 0);
  Step(0);
  Step(500);
  EXPECT_EQ(sender.Take(), Sent{kInfo0}) << "a full answer is pending from the rebuild";
}

TEST_F(VCDaemonTest, WithoutMemoryARebuildEndsAPublicationOrKeepsItWhole) {
  NEEDS_FAILING_ALLOCATIONS();
  std::size_t ended = 0;
  bool happened = true;
  for (std::size_t after = 0; happened; ++after) {
    const std::uint32_t id = Publish(L"vc-1").lanSeekID;
    Step(0);
    sender.Take();
    const auto interfaces = host.SetupLanseekInterfaces();
    {
      CtrlTable::Access access(table);
      const FailingAllocation failing(after);
      try {
        daemon.RefreshAfterReInit(access, interfaces);
      } catch (const std::bad_alloc&) {
      }
      happened = failing.Happened();
    }
    const bool keeps = traces.Messages().size() == ended;
    ended = traces.Messages().size();
    Queue(5, 0);
    Step(0);
    Step(500);
    EXPECT_EQ(sender.Take().empty(), !keeps) << "after " << after;
    Queue(4, 0, id);
    Step(0);
    sender.Take();
  }
  EXPECT_GT(ended, 0U);
}

TEST_F(VCDaemonTest, TheThreadEndsWithAndWithoutSockets) {
  Publish(L"vc-1");
  Run();
  EXPECT_EQ(sender.Take(), Sent{});
  socketsReady.Set();
  Run();
  EXPECT_EQ(sender.Take(), (Sent{kInfo0, kInfo1})) << "the last pass sends what is due";
}

}  // namespace
}  // namespace kellanseek::test
