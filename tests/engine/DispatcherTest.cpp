#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "EngineHarness.h"

namespace kellanseek::test {
namespace {

using engine::MsgSource;
using Events = std::vector<ClientEvent>;

constexpr const char* kSource = "192.168.1.20";
constexpr const char* kIdentity = "1:Cell7;4:sys-1;9:00-11;";

CtrlInfo StaticAt(const wchar_t* address) {
  CtrlInfo record;
  record.ctrlAddress = address;
  return record;
}

CtrlInfo RemoteAt(const wchar_t* address) {
  CtrlInfo record = StaticAt(address);
  record.identificationType = RemoteCtrlDefinition;
  return record;
}

class DispatcherTest : public ::testing::Test, protected EngineHarness {};

class SmallTableTest : public ::testing::Test, protected EngineHarness {
 protected:
  static constexpr std::size_t kLimit = 100;
  SmallTableTest() : EngineHarness(kLimit) {}
};

TEST_F(DispatcherTest, AControllerComesIsUpdatedAndLeaves) {
  Answer(1, kIdentity, kSource);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlNew}}));
  EXPECT_EQ(Get(11).ctrlAddress, L"192.168.1.20");
  EXPECT_EQ(Get(11).heardOnInterface, 0);
  Answer(1, kIdentity, kSource);
  EXPECT_EQ(events.Take(), Events{});
  Answer(1, "1:Cell8;4:sys-1;9:00-11;", kSource);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlUpdated}}));
  Answer(3, "", kSource);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlRemoved, CtrlLostRestart}}));
  EXPECT_TRUE(All().empty());
  Answer(1, kIdentity, kSource);
  Answer(4, "", kSource);
  EXPECT_EQ(events.Take(), (Events{{12, CtrlAvailable, CtrlNew}, {12, CtrlRemoved, CtrlLostPowerDown}}));
}

TEST_F(DispatcherTest, APresenceAnswerIsAskedForItsIdentityBeforeItIsAnnounced) {
  Answer(2, kIdentity, kSource);
  EXPECT_EQ(Get(11).retriesLeft, 4);
  EXPECT_EQ(Get(11).ticksToNextAction, 16);
  EXPECT_EQ(events.Take(), Events{});
  Tick(17);
  EXPECT_EQ(sender.Take(), (std::vector<std::string>{"broadcast 0 Lanseek;1c;6;a:192.168.1.20;"}));
  Answer(1, kIdentity, kSource);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlNew}}));
  EXPECT_EQ(Get(11).ticksToNextAction, -1);
}

TEST_F(DispatcherTest, AConfiguredControllerIsReconnectedOnceItsIdentityHasCome) {
  const std::uint32_t id = Add(StaticAt(L"10.9.9.9"));
  NonLocalAnswer(2, kIdentity, "10.9.9.9");
  EXPECT_EQ(events.Take(), Events{});
  EXPECT_EQ(Get(id).ctrlStatus, CtrlAvailable);
  EXPECT_EQ(Get(id).systemID, L"sys-1");
  EXPECT_EQ(Get(id).ticksToNextAction, 0);
  EXPECT_EQ(Get(id).retriesLeft, 4);
  Tick();
  EXPECT_EQ(sender.Take(), (std::vector<std::string>{"to 10.9.9.9 Lanseek;0d;5;"}));
  NonLocalAnswer(1, kIdentity, "10.9.9.9");
  EXPECT_EQ(events.Take(), (Events{{id, CtrlAvailable, CtrlReconnected}}));
  EXPECT_EQ(Get(id).ticksToNextAction, 128);
  Answer(4, "", "10.9.9.9");
  EXPECT_EQ(events.Take(), (Events{{id, CtrlUnavailable, CtrlLostPowerDown}}));
  EXPECT_EQ(Get(id).identificationType, StaticCtrlDefinition);
}

TEST_F(DispatcherTest, ARemoteControllerTurnsDynamicOrComesBackUnderANewId) {
  const std::uint32_t id = Add(RemoteAt(L"192.168.1.20"));
  Answer(1, kIdentity, kSource);
  EXPECT_EQ(Get(id).lanSeekID, 0U) << "unavailable: deleted";
  EXPECT_EQ(events.Take(), (Events{{id + 1, CtrlAvailable, CtrlNew}}));

  const std::uint32_t other = Add(RemoteAt(L"192.168.1.30"));
  NonLocalAnswer(1, "4:sys-2;9:00-22;", "192.168.1.30");
  Answer(1, "4:sys-2;9:00-22;", "192.168.1.30");
  EXPECT_EQ(Get(other).identificationType, DynamicCtrlDefinition);
  EXPECT_EQ(Get(other).heardOnInterface, 0);
}

TEST_F(SmallTableTest, ForgedIdentitiesFillTheTableUpToALimit) {
  EXPECT_EQ(kMaxDynamicRecords, 65536U);
  const auto appear = [this](std::size_t number, std::uint32_t type = 1) {
    const std::string text = std::to_string(number);
    Answer(type, "4:sys-" + text + ";9:mac-" + text + ";", "10.0.0." + text);
  };
  // An added one that turns dynamic counts, even where it finds room without being asked.
  const std::uint32_t turning = Add(RemoteAt(L"10.0.0.0"));
  NonLocalAnswer(1, "4:sys-0;9:mac-0;", "10.0.0.0");
  appear(0);
  ASSERT_TRUE(Get(turning).Dynamic());
  for (std::size_t number = 1; number < kLimit; ++number) appear(number);
  EXPECT_EQ(All().size(), kLimit);
  const std::uint32_t next = table.NextLanSeekID();
  events.Take();
  for (std::size_t number = 0; number < 5; ++number) appear(kLimit + number, 1 + number % 2);
  EXPECT_EQ(All().size(), kLimit);
  EXPECT_EQ(table.NextLanSeekID(), next + 5) << "the ids are consumed";
  EXPECT_EQ(events.Take(), Events{});
  const std::vector<std::wstring> once{L"LanSeek: Too many dynamic controllers. 10.0.0.100 is not added"};
  EXPECT_EQ(traces.Messages(), once);

  // Configured and added ones find room, the latter also when they turn dynamic under a new id.
  Add(StaticAt(L"10.2.0.1"));
  Add(RemoteAt(L"10.2.0.2"));
  Answer(1, "4:added;9:mac-added;", "10.2.0.2");
  EXPECT_EQ(All().size(), kLimit + 2);

  // Two are to leave before there is room: the limit is exceeded by one.
  Answer(3, "", "10.0.0.1");
  appear(1);
  EXPECT_EQ(All().size(), kLimit + 1);
  Answer(3, "", "10.0.0.0");
  appear(1);
  EXPECT_EQ(All().size(), kLimit + 1);
  EXPECT_EQ(traces.Messages(), once);
  Tick(239);
  appear(kLimit);
  EXPECT_EQ(traces.Messages(), once);
  Tick();
  appear(kLimit);
  EXPECT_EQ(traces.Messages().size(), 2U);
}

TEST_F(DispatcherTest, RequestSocketsBringRequestsOnly) {
  Answer(1, kIdentity, kSource);
  Receive(Datagram(4, ""), kSource, MsgSource::FromRequestSocket, 0);
  EXPECT_EQ(All().size(), 1U);
  Receive(Datagram(1, kIdentity), kSource, MsgSource::FromRequestSocket, 0);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlNew}, {12, CtrlAvailable, CtrlNew}}));
  EXPECT_EQ(Get(12).ctrlAddress, L"");
  EXPECT_EQ(Get(12).heardOnInterface, -1);
}

TEST_F(DispatcherTest, OnlyAnswersCountOnTheNonLocalSocket) {
  Add(StaticAt(L"192.168.1.20"));
  Receive(Datagram(5, ""), kSource, MsgSource::FromNonLocalSocket, kNone);
  Receive(Datagram(4, ""), kSource, MsgSource::FromNonLocalSocket, kNone);
  EXPECT_TRUE(daemon.messages.empty());
  NonLocalAnswer(1, kIdentity, kSource);
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlReconnected}}));
}

TEST_F(DispatcherTest, AnotherWorkstationsTargetedRequestCountsAsOurs) {
  Answer(2, kIdentity, kSource);
  Tick(11);
  EXPECT_EQ(Get(11).ticksToNextAction, 5);
  const auto ask = [&](std::string_view fields) {
    Receive(Datagram(6, fields), "192.168.1.9", MsgSource::FromRequestSocket, 0);
  };
  ask("a:192.168.1.20;4:other;");
  EXPECT_EQ(Get(11).retriesLeft, 4);
  ask("a:192.168.1.20;");
  EXPECT_EQ(Get(11).retriesLeft, 3);
  EXPECT_EQ(Get(11).ticksToNextAction, 16);
  ask("a:192.168.1.20;");
  EXPECT_EQ(Get(11).retriesLeft, 3) << "too soon after the last one";
}

TEST_F(DispatcherTest, RequestsForThisHostGoToTheDaemon) {
  CtrlInfo vc;
  vc.ctrlType = VC;
  vc.systemID = L"vc-1";
  vc.identificationType = DynamicCtrlDefinition;
  vc.remotePublication = RemoteVCPublication_True;
  const std::uint32_t id = Add(vc);
  const auto ask = [&](std::uint32_t type, std::string_view fields, std::int32_t position) {
    Receive(Datagram(type, fields), "192.168.1.9", MsgSource::FromRequestSocket, position);
  };
  ask(5, "", 1);
  ask(7, "", 0);
  ask(6, "a:10.0.0.5;", 1);
  ask(6, "a:10.0.0.5;4:vc-1;", 1);
  ask(6, "a:10.0.0.5;4:vc-2;", 1);
  ask(6, "a:192.168.1.5;4:vc-1;", 1);
  ask(6, "", 1);
  EXPECT_EQ(daemon.messages,
            (std::vector<RecordingDaemon::Message>{{5, 1, 0}, {7, 0, 0}, {6, 1, 0}, {6, 1, id}}));
}

TEST_F(DispatcherTest, AForwardedRefreshRequestIsTracedAndChangesNothing) {
  Answer(1, kIdentity, kSource);
  Forward(7, "");
  EXPECT_EQ(traces.Messages(),
            (std::vector<std::wstring>{L"LanSeek: StartRefreshCycle internal error. Bad interface index"}));
  EXPECT_EQ(Get(11).retriesLeft, -1);
}

TEST_F(DispatcherTest, ARefusedVirtualControllerLeavesTheEngineLockToBeGivenBack) {
  protocol::AddressText source(kSource);
  engine::Dispatcher::Scratch scratch;
  const std::string datagram = Datagram(1, "11:2;");
  dispatcher.HandleMessage(datagram, datagram.size(), &source, {MsgSource::FromResponseSocket, 0, 0},
                           scratch);

  EXPECT_TRUE(engineLock.HeldByThisThread());
  engineLock.ReleaseAll();
  EXPECT_FALSE(engineLock.HeldByThisThread());
  // Hangs unless the lock is free for everybody else again.
  std::thread([&] { const engine::EngineLock::Scope scope(engineLock); }).join();
}

TEST_F(DispatcherTest, CollisionTracesNameThoseInvolved) {
  CtrlInfo vc;
  vc.ctrlType = VC;
  vc.systemID = L"sys-1";
  vc.ctrlAddress = L"path";
  vc.identificationType = DynamicCtrlDefinition;
  vc.ctrlStatus = CtrlAvailable;
  Add(vc);
  Add(StaticAt(L"10.9.9.9"));
  Answer(1, kIdentity, kSource);
  Answer(1, "4:sys-2;", kSource);
  NonLocalAnswer(1, "4:sys-2;9:00-22;", "10.8.8.8");
  NonLocalAnswer(1, "4:sys-3;9:00-33;11:3;", "10.9.9.9");
  EXPECT_EQ(traces.Messages(),
            (std::vector<std::wstring>{
                L"LanSeek: System ID collision between RC 192.168.1.20 and local VC path. SysID:sys-1",
                L"LanSeek::HandleCtrlCollisions. Unsufficent data in message from 192.168.1.20!",
                L"LanSeek: Message from static handling (10.8.8.8) does not match any known controller!",
                L"LanSeek: Non-local handling of remote VC not supported. IP 10.9.9.9"}));
  EXPECT_EQ(All().size(), 2U);
}

TEST_F(DispatcherTest, TwoDevicesOnOneAddressOrOneIdentity) {
  Answer(1, kIdentity, kSource);
  Answer(1, "4:sys-2;9:00-22;", kSource);
  EXPECT_EQ(events.Take(),
            (Events{{11, CtrlAvailable, CtrlNew}, {11, CtrlRemoved, CtrlLostIPAddressCollision}}));
  Answer(1, "4:sys-2;9:00-22;", kSource);
  Answer(1, "4:sys-2;9:00-33;", "192.168.1.21");
  EXPECT_EQ(events.Take(),
            (Events{{12, CtrlAvailable, CtrlNew}, {12, CtrlRemoved, CtrlLostSystemIdCollision}}));
}

TEST_F(DispatcherTest, TheServicePortGivesWayInBothOrders) {
  Answer(1, kIdentity, "192.168.1.20", 0);
  Answer(1, "1:Cell7;4:sys-1;9:00-22;", "192.168.125.1", 1);
  EXPECT_EQ(
      events.Take(),
      (Events{{11, CtrlAvailable, CtrlNew}, {11, CtrlRemoved, CtrlUpdated}, {12, CtrlAvailable, CtrlNew}}));
  Answer(1, kIdentity, "192.168.1.20", 0);
  EXPECT_EQ(events.Take(), Events{});
  EXPECT_EQ(All().size(), 1U);
}

}  // namespace
}  // namespace kellanseek::test
