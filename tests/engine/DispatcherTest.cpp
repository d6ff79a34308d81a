#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/EngineHarness.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

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
  EXPECT_EQ(Get(11).heardOnInterface, kFirstInterface);
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

TEST_F(SmallTableTest, ForgedIdentitiesFillTheTableUpToALimit) {
  EXPECT_EQ(controllers::kMaxDynamicRecords, 65536U);
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

TEST_F(DispatcherTest, ARefusedVirtualControllerLeavesTheEngineLockHeld) {
  Forward(1, "4:V;");
  EXPECT_EQ(All().size(), 1U);
  EXPECT_FALSE(engineLock.HeldByThisThread()) << "after one that was accepted";

  protocol::Message message;
  const std::string datagram = Datagram(1, "11:2;");
  dispatcher.HandleMessage(datagram, datagram.size(), platform::ParseIpv4(kSource),
                           {MsgSource::FromResponseSocket, kFirstInterface, 0, 0}, message);

  EXPECT_TRUE(engineLock.HeldByThisThread());
  engineLock.ReleaseAll();
  EXPECT_FALSE(engineLock.HeldByThisThread());
  // Hangs unless the lock is free for everybody else again.
  std::thread([&] { const engine::EngineLock::Scope scope(engineLock); }).join();
}

}  // namespace
}  // namespace kellanseek::test
