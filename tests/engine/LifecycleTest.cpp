#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/EngineHarness.h"
#include "tests/support/FailingAllocation.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;
using controllers::CtrlTable;

using Events = std::vector<ClientEvent>;

class LifecycleTest : public ::testing::Test, protected EngineHarness {};

class SmallTableTest : public ::testing::Test, protected EngineHarness {
 protected:
  static constexpr std::size_t kLimit = 100;
  SmallTableTest() : EngineHarness(kLimit) {}
};

TEST_F(SmallTableTest, LongKeysFillTheTableSooner) {
  const auto appear = [this](const std::string& number, std::size_t length) {
    Answer(1, "4:" + number + std::string(length, 'x') + ";9:mac-" + number + ";", "10.0.0." + number);
  };
  for (int number = 10; number < 16; ++number) appear(std::to_string(number), 900);  // 15 places for each.
  for (int number = 30; number < 50; ++number) appear(std::to_string(number), 30);
  EXPECT_EQ(All().size(), 6U + 10U);
  // Another identity is another controller, which comes in the place of the former one if that suffices.
  appear("30", 31);
  EXPECT_EQ(All().size(), 16U);
  appear("31", 900);
  EXPECT_EQ(All().size(), 15U);
  appear("10", 30);
  appear("31", 900);
  EXPECT_EQ(All().size(), 16U);
}

TEST_F(SmallTableTest, ForgedIdentitiesFillTheTableUpToALimit) {
  EXPECT_EQ(controllers::kMaxDynamicRecords, 65536U);
  const auto added = [](const wchar_t* address) {
    CtrlInfo record;
    record.ctrlAddress = address;
    record.identificationType = RemoteCtrlDefinition;
    return record;
  };
  const auto appear = [this](std::size_t number, std::uint32_t type = 1) {
    const std::string text = std::to_string(number);
    Answer(type, "4:sys-" + text + ";9:mac-" + text + ";", "10.0.0." + text);
  };
  // An added one that turns dynamic counts, even where it finds room without being asked.
  const std::uint32_t turning = Add(added(L"10.0.0.0"));
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
  CtrlInfo configured = added(L"10.2.0.1");
  configured.identificationType = StaticCtrlDefinition;
  Add(configured);
  Add(added(L"10.2.0.2"));
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

TEST_F(LifecycleTest, AMessageSaidBeforeIsNotReadAgain) {
  const std::string identity = Datagram(1, "4:sys;9:mac;");
  const std::string presence = Datagram(2, "4:sys;9:mac;");
  protocol::Message read;
  const auto receive = [&](const std::string& datagram, const char* source, std::uint32_t inTheFirst) {
    read = {};
    dispatcher.HandleMessage(datagram, datagram.size(), platform::ParseIpv4(source),
                             {engine::MsgSource::FromResponseSocket, kFirstInterface, inTheFirst, 0}, read);
    return !read.identity.systemID.empty();
  };
  const std::uint32_t here = interfaces[kFirstInterface].address;
  EXPECT_TRUE(receive(identity, "10.0.0.1", here)) << "new";
  EXPECT_TRUE(receive(identity, "10.0.0.1", here)) << "known, and now remembered";
  EXPECT_FALSE(receive(identity, "10.0.0.1", here));
  EXPECT_TRUE(receive(identity, "10.0.0.1", here + 1)) << "another way";
  EXPECT_TRUE(receive(presence, "10.0.0.1", here));
  EXPECT_FALSE(receive(presence, "10.0.0.1", here));
  EXPECT_TRUE(receive(identity, "10.0.0.1", here)) << "only the last is remembered";
  EXPECT_TRUE(receive(identity, "10.0.0.2", here)) << "another sender";
  EXPECT_EQ(journal.counters.accepted[1].Value() + journal.counters.accepted[2].Value(), 8U) << "each counts";
}

TEST_F(LifecycleTest, AnAnswerWithoutSenderIsRefused) {
  const std::string datagram = Datagram(1, "4:sys;9:mac;");
  protocol::Message message;
  dispatcher.HandleMessage(datagram, datagram.size(), std::nullopt,
                           {engine::MsgSource::FromResponseSocket, kFirstInterface, 0, 0}, message);
  EXPECT_TRUE(All().empty());
  EXPECT_EQ(traces.Messages(),
            std::vector<std::wstring>{L"LanSeek::HandleCtrlCollisions. No source address in message!"});
}

TEST_F(LifecycleTest, TheEngineLockKeepsThreadsApart) {
  int entered = 0;
  const auto enter = [&] {
    for (int i = 0; i < 100000; ++i) {
      const engine::EngineLock::Scope lock(engineLock);
      ++entered;
    }
  };
  std::thread other(enter);
  enter();
  other.join();
  EXPECT_EQ(entered, 200000);
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
  addresses.AddInterface(4, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_EQ(host.SetupLanseekInterfaces().Entries()[2].macText, "01:02:03:04:05:06");
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

TEST_F(LifecycleTest, OutOfMemoryLeavesNoVirtualControllerHalfRegistered) {
  NEEDS_FAILING_ALLOCATIONS();
  const std::wstring systemID = L"an identity that is kept outside the string itself";
  CountedObject object;
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
                    EXPECT_EQ(object.count, 0U);
                    EXPECT_TRUE(All().empty());
                  });
  EXPECT_EQ(object.count, 1U);
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
  EXPECT_EQ(object.count, 0U);
  EXPECT_GE(shortages, 5U) << "in each of the two calls";

  CtrlInfo taken;
  {
    taken.lanSeekID = table.NextLanSeekID();
    CtrlTable::Access(table).Add(taken);
  }
  EXPECT_EQ(localVCs.RegisterVC(L"path", systemID, 1, RemoteVCPublication_True, &vci), E_OUTOFMEMORY);
  EXPECT_EQ(object.count, 0U);
}

TEST(LifecycleWithoutMemoryTest, WhatAMessageTellsIsReportedOnceWhereverMemoryRunsOut) {
  NEEDS_FAILING_ALLOCATIONS();
  const std::string keys = "4:an identity too long for the string itself;9:m;";
  const std::string full = "1:a name that is too long for the string itself;3:" + keys + keys;
  struct Case {
    const char* what;
    std::uint32_t typeBefore;
    std::string before;
    bool isConfigured;
    LanSeekEventReason reason;
  };
  for (const Case& test : std::vector<Case>{{"a new one", 0, "", false, CtrlNew},
                                            {"one that was only present", 2, keys, false, CtrlNew},
                                            {"one with another name", 1, "1:a;" + keys, false, CtrlUpdated},
                                            {"a configured one", 0, "", true, CtrlReconnected},
                                            {"a configured one, present", 2, keys, true, CtrlReconnected},
                                            {"a renamed one", 1, "1:a;" + keys, true, CtrlUpdated}}) {
    std::size_t after = 0;
    for (bool happened = true; happened; ++after) {
      SCOPED_TRACE(std::string(test.what) + ", after " + std::to_string(after));
      EngineHarness engine;
      CtrlInfo configured;
      configured.ctrlAddress = L"192.168.1.20";
      if (test.isConfigured) engine.Add(configured);
      if (test.typeBefore != 0) engine.Answer(test.typeBefore, test.before, "192.168.1.20");
      engine.events.Take();
      engine.events.queued.reserve(1);
      try {
        const FailingAllocation failing(after);
        engine.Answer(1, full, "192.168.1.20");
        happened = failing.Happened();
      } catch (const std::bad_alloc&) {
        engine.Answer(1, full, "192.168.1.20");
      }
      const CtrlInfo record = engine.All().at(0);
      EXPECT_EQ(engine.events.queued, (Events{{record.lanSeekID, CtrlAvailable, test.reason}}));
      EXPECT_EQ(record.ctrlName, L"a name that is too long for the string itself");
    }
    EXPECT_GE(after, 5U);
  }
}

TEST_F(LifecycleTest, TheHostNameThreadOutlivesAFailureAndEndsOnStop) {
  lookup.SetName("192.168.1.20", "Cell-Host");
  Answer(1, "4:a;9:a;", "192.168.1.20");
  Answer(1, "4:b;9:b;", "192.168.1.21");
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
  EXPECT_FALSE(stopEngine.TryWait()) << "the thread ran until the stop, which it took";
  EXPECT_EQ(Get(11).hostName, L"Cell-Host") << "a difference in case alone changes nothing";
  EXPECT_EQ(events.Take(), (Events{{11, CtrlAvailable, CtrlUpdated}}));
  EXPECT_EQ(lookup.Lookups(), 2U) << "two waited, and one came while the first was under way; one failed";
  EXPECT_EQ(traces.Messages(), std::vector<std::wstring>{
                                   L"LanSeek: A step of thread KelHostNames has failed and is lost: broken"});
}

}  // namespace
}  // namespace kellanseek::test
