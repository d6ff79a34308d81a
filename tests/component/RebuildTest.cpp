#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

/// A host whose only interface comes and goes.
class RestlessHost : public FakeNetworkAddresses {
 public:
  RestlessHost() {
    AddInterface(1, {0, 1, 2, 3, 4, 5});
    AddAddress(1, "192.168.1.5", "255.255.255.0");
  }
  std::optional<std::vector<platform::AddressRow>> Addresses() override {
    const int look = ++looks_;
    if (--looksUntilShortage == 0) throw std::bad_alloc();
    if (away || (restless && look / 2 % 2 == 1)) return std::vector<platform::AddressRow>();
    return FakeNetworkAddresses::Addresses();
  }

  int Looks() const { return looks_; }

  std::atomic<int> looksUntilShortage = 0;
  std::atomic<bool> restless = false;
  std::atomic<bool> away = false;

 private:
  std::atomic<int> looks_ = 0;
};

/// Signals between the test and the watch.
struct WatchEvents {
  platform::Event notice{platform::Event::Kind::AutoReset};
  platform::Event waits{platform::Event::Kind::AutoReset};
};

/// Endless notices, or one on request.
class Notices : public platform::AddressChangeWatch {
 public:
  Notices(const RestlessHost& host, WatchEvents& events) : host_(host), events_(events) {}
  Outcome Wait(platform::Event& stop, platform::Event& wake, std::chrono::milliseconds timeout) override {
    const auto limit = host_.restless ? std::chrono::milliseconds(1) : timeout;
    events_.waits.Set();
    const platform::WaitResult result = platform::WaitForAny({&stop, &events_.notice, &wake}, limit);
    if (result.Signalled(0)) return Outcome::Stopped;
    if (result.Signalled(2)) return Outcome::Woken;
    return result.Signalled(1) || host_.restless ? Outcome::Changed : Outcome::TimedOut;
  }

 private:
  const RestlessHost& host_;
  WatchEvents& events_;
};

class RebuildTest : public testing::Test, protected ComponentHarness {
 protected:
  /// Releases the object before the fakes that it uses.
  void TearDown() override { ReleaseAll(); }

  void Create() { ComponentHarness::Create(changing_); }
  void Hear(int number) {
    const std::string text = std::to_string(number);
    network.Inject(InjectedNetwork::Datagram(1, "4:" + text + ";9:00-" + text + ";"), "192.168.1." + text);
  }

  /// Waits until the watch waits again, and returns the number of look-ups of the host's addresses.
  int LooksUntilItWaits() {
    EXPECT_TRUE(platform::WaitForAny({&watch_.waits}, std::chrono::seconds(10)).Signalled(0));
    return host_.Looks();
  }

  RestlessHost host_;
  WatchEvents watch_;
  int looksBeforeWatch_ = -1;

 private:
  FakeReverseLookup hostNames_;
  FakeProcessTable processes_;
  const component::ComponentEnvironment changing_{{network, host_,
                                                   [this] {
                                                     looksBeforeWatch_ = host_.Looks();
                                                     return std::make_unique<Notices>(host_, watch_);
                                                   },
                                                   hostNames_, processes_, traces},
                                                  registry};
};

TEST_F(RebuildTest, SurvivesDatagramsCallsAndTheLastRelease) {
  for (int round = 0; round < 20; ++round) {
    host_.restless = true;
    Create();
    const auto sink = FakeSink::Make();
    Subscribe(sink.Get());
    std::atomic<bool> ending = false;
    std::thread plant([&] {
      for (int i = 0; !ending; ++i) {
        Hear(10 + i % 40);
        std::this_thread::yield();
      }
    });
    std::thread client(
        [&, seekOfThread = seek, identityOfThread = identity, additionsOfThread = additions]() mutable {
          for (ULONG id = 11; !ending; ++id) {
            KelBstr name;
            ULONG added = 0;
            identityOfThread->GetCtrlName(11 + id % 50, name.Put());
            seekOfThread->RefreshForID(11 + id % 50);
            additionsOfThread->AddRemoteController(KelBstr(L"192.168.1." + std::to_wstring(id % 200)).Get(),
                                                   &added);
            KelRetrievalParams all = {};
            all.noOfElts = -2;
            KelComPtr<IKelEnumCtrlIdentity> list;
            EXPECT_EQ(seekOfThread->GetCtrlList(&all, list.Put()), S_OK);
          }
          identityOfThread.Reset();
          additionsOfThread.Reset();
          seekOfThread.Reset();
        });
    sink->WaitFor(20);
    ReleaseAll();
    ending = true;
    client.join();
    plant.join();
    WaitUntilUnused();
    EXPECT_FALSE(module.InUse()) << "the release on another thread was the last";
  }
}

TEST_F(RebuildTest, IsRepeatedAfterRunningOutOfMemory) {
  Create();
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  Hear(20);
  sink->WaitFor(1);
  // The comparison reads the addresses once, and the rebuild does so again.
  host_.looksUntilShortage = 2;
  host_.away = true;
  watch_.notice.Set();
  EXPECT_EQ(sink->WaitForTexts(2).back(), L"11;3;3;") << "lost with its network, a second later at most";
  host_.away = false;
  watch_.notice.Set();
  // Repeated until received: a datagram is lost while the network side is down.
  platform::Event never(platform::Event::Kind::ManualReset);
  for (int i = 0; i < 1000 && sink->WaitFor(2).size() < 3; ++i) {
    Hear(21);
    platform::WaitForAny({&never}, std::chrono::milliseconds(10));
  }
  EXPECT_EQ(sink->WaitForTexts(3).back(), L"12;1;0;");
}

TEST_F(RebuildTest, WithdrawsTheControllersOfAnInterfaceThatCannotBeBound) {
  Create();
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  Hear(20);
  sink->WaitFor(1);
  network.Refuse(platform::ParseIpv4("192.168.1.5"));
  host_.AddAddress(1, "10.0.0.5", "255.255.255.0");
  watch_.notice.Set();
  EXPECT_EQ(sink->WaitForTexts(2).back(), L"11;3;3;");
}

TEST_F(RebuildTest, RepeatedlyFailingWaitsCauseARebuild) {
  for (const bool followsChanges : {true, false}) {
    SCOPED_TRACE(followsChanges);
    ComponentHarness world;
    world.Configure(followsChanges ? "" : "<DetectInterfaceChanges>0</DetectInterfaceChanges>", "");
    world.network.FailWaits(12);
    world.Create();
    const auto sink = FakeSink::Make();
    world.Subscribe(sink.Get());
    EXPECT_TRUE(world.network.WaitUntilOpened());
    if (followsChanges) {
      EXPECT_TRUE(world.network.WaitUntilOpened()) << "after ten";
    }
    world.Appear("a", "192.168.1.20");
    EXPECT_EQ(sink->WaitForTexts(1), (std::vector<std::wstring>{L"11;1;0;"}))
        << "two more failed waits do no harm";
    world.ReleaseAll();
    EXPECT_EQ(world.traces.Messages(),
              (std::vector<std::wstring>{L"LanSeek: Waiting for datagrams failed. Error = 88"}));
  }
}

TEST_F(RebuildTest, HappensOnlyAfterANotice) {
  network.Refuse(platform::ParseIpv4("192.168.1.5"));
  Create();
  EXPECT_TRUE(network.WaitUntilOpened());
  EXPECT_EQ(LooksUntilItWaits(), 1) << "the table was built but not yet compared";
  EXPECT_EQ(looksBeforeWatch_, 0) << "watched before, so no change is missed";
  host_.AddAddress(1, "10.0.0.5", "255.255.255.0");
  watch_.notice.Set();
  EXPECT_EQ(LooksUntilItWaits(), 3) << "a comparison and a rebuild";
}

}  // namespace
}  // namespace kellanseek::test
