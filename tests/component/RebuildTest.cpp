#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/component/ComponentHarness.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::test {
namespace {

class RebuildTest : public testing::Test, protected ComponentHarness {
 protected:
  RebuildTest() {
    addresses.onLook = [this] {
      if (++looks == lookThatFails) throw std::bad_alloc();
      while (looks == lookThatLingers && network.OpenSockets() > 0) std::this_thread::yield();
      openSockets = network.OpenSockets();
    };
  }
  /// Releases the object before the fakes that it uses.
  void TearDown() override { ReleaseAll(); }

  void Hear(int number) {
    const std::string text = std::to_string(number);
    Appear(text, "192.168.1." + text);
  }
  void Come(std::string_view address) { addresses.AddAddress(1, address, "255.255.255.0"); }

  std::atomic<int> looks = 0;
  std::atomic<int> lookThatFails = 0;
  std::atomic<int> lookThatLingers = 0;  ///< Until the run has ended.
  std::atomic<int> openSockets = 0;      ///< At the last look.
};

TEST_F(RebuildTest, IsRepeatedAfterRunningOutOfMemory) {
  Create();
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  Hear(20);
  sink->WaitFor(1);
  // The comparison looks at the addresses once, and the rebuild does so again.
  lookThatFails = looks + 2;
  addresses.RemoveAddress("192.168.1.5");
  notice.Set();
  EXPECT_EQ(sink->WaitForTexts(2).back(), L"11;3;3;") << "lost with its network, a second later at most";
  Come("192.168.1.5");
  notice.Set();
  // Repeated until received: a datagram is lost while the network side is down.
  platform::Event never(platform::Event::Kind::ManualReset);
  for (int i = 0; i < 1000 && sink->WaitFor(2).size() < 3; ++i) {
    Hear(21);
    platform::WaitForAny({&never}, std::chrono::milliseconds(10));
  }
  EXPECT_EQ(sink->WaitForTexts(3).back(), L"12;1;0;");
}

TEST_F(RebuildTest, AChangeNoticedDuringTheStopComesTooLate) {
  Create();
  EXPECT_TRUE(network.WaitUntilOpened());
  lookThatLingers = 2;
  Come("10.0.0.5");
  notice.Set();
  while (looks < 2) std::this_thread::yield();
  ReleaseAll();
  EXPECT_EQ(looks, 2) << "compared, but not rebuilt";
}

TEST_F(RebuildTest, WithdrawsTheControllersOfAnInterfaceThatCannotBeBound) {
  component::ComponentEnvironment world = environment;
  int looksBeforeWatch = -1;
  world.engine.watchAddressChanges = [&] {
    looksBeforeWatch = looks;
    return environment.engine.watchAddressChanges();
  };
  Create(world);
  EXPECT_EQ(looksBeforeWatch, 0) << "watched before, so no change is missed";
  const auto sink = FakeSink::Make();
  Subscribe(sink.Get());
  Hear(20);
  sink->WaitFor(1);
  network.Refuse(platform::ParseIpv4("192.168.1.5"));
  Come("10.0.0.5");
  notice.Set();
  EXPECT_EQ(sink->WaitForTexts(2).back(), L"11;3;3;");
  EXPECT_EQ(looks, 3) << "at the start, then a comparison and a rebuild";
  EXPECT_EQ(openSockets, 0) << "a rebuild begins when the former run has ended";
}

TEST_F(RebuildTest, RepeatedlyFailingWaitsCauseARebuild) {
  for (const bool followsChanges : {true, false}) {
    SCOPED_TRACE(followsChanges);
    ComponentHarness world;
    world.Configure(followsChanges ? "" : "<DetectInterfaceChanges>0</DetectInterfaceChanges>", "");
    // Ten suffice, and two more do no harm.
    world.network.FailWaits(followsChanges ? 12 : 10);
    world.Create();
    const auto sink = FakeSink::Make();
    world.Subscribe(sink.Get());
    EXPECT_TRUE(world.network.WaitUntilOpened());
    if (followsChanges) {
      EXPECT_TRUE(world.network.WaitUntilOpened()) << "after ten";
    }
    world.Appear("a", "192.168.1.20");
    EXPECT_EQ(sink->WaitForTexts(1), (std::vector<std::wstring>{L"11;1;0;"}));
    world.ReleaseAll();
    EXPECT_EQ(world.traces.Messages(),
              (std::vector<std::wstring>{L"LanSeek: Waiting for datagrams failed. Error = 88"}));
  }
}

}  // namespace
}  // namespace kellanseek::test
