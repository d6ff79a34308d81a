#include "engine/AddressWatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeNetworkAddresses.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlTable;

using Outcome = platform::AddressChangeWatch::Outcome;
using Texts = std::vector<std::wstring>;

const std::wstring kLost = L"LanSeek: A step of thread KelAddrWatch has failed and is lost: broken";

/// One wait, and what happens during it.
struct Wait {
  Outcome outcome = Outcome::TimedOut;
  std::function<void()> meanwhile = [] {};
};

/// The watch, and the network side that it has rebuilt, on one thread.
class AddressWatchTest : public ::testing::Test, protected engine::InterfaceChangeListener {
 protected:
  AddressWatchTest() {
    addresses.AddInterface(1, {0, 1, 2, 3, 4, 5});
    addresses.AddAddress(1, "192.168.1.5", "255.255.255.0");
    addresses.AddAddress(1, "10.0.0.5", "255.255.255.0");
    LookAgain();
  }

  void LookAgain() {
    network::InterfaceTable usable = host.SetupLanseekInterfaces();
    CtrlTable::Access access(table);
    interfaces.Replace(access, std::move(usable), 0);
  }
  /// The first interface could not be opened.
  void RefuseOne() {
    CtrlTable::Access access(table);
    auto opened = interfaces.Table(access).Entries();
    opened.erase(opened.begin());
    interfaces.Narrow(access, network::InterfaceTable(std::move(opened)), 0);
  }

  /// Waits as written, then the end; gives how often the network side was rebuilt.
  int Run(std::vector<Wait> waits) {
    script = std::move(waits);
    limits.clear();
    watch.Begin();
    watch.NotifyAddrChangeLoop();
    return std::exchange(rebuilds, 0);
  }

  void OnInterfacesChanged() override {
    ++rebuilds;
    if (const auto failure = std::exchange(rebuildFailure, nullptr)) failure();
    LookAgain();
  }

  class Watch : public platform::AddressChangeWatch {
   public:
    explicit Watch(AddressWatchTest& test) : test_(test) {}
    Outcome Wait(platform::Event&, platform::Event&, std::chrono::milliseconds limit) override {
      test_.limits.push_back(limit.count());
      if (step_ == test_.script.size()) return Outcome::Stopped;
      const auto& wait = test_.script[step_++];
      wait.meanwhile();
      return wait.outcome;
    }

   private:
    AddressWatchTest& test_;
    std::size_t step_ = 0;
  };

  std::vector<Wait> script;
  std::vector<long long> limits;
  int rebuilds = 0;
  void (*rebuildFailure)() = nullptr;
  config::CKelLanSeekConfigSettings settings;
  FakeDebugOutput traces;
  FakeNetworkAddresses addresses;
  platform::Event stop{platform::Event::Kind::ManualReset};
  platform::Event rebuildWanted{platform::Event::Kind::AutoReset};
  CtrlTable table;
  network::HostInterfaces host{addresses, settings, traces};
  engine::RunInterfaces interfaces;
  std::function<std::unique_ptr<platform::AddressChangeWatch>()> make = [this] {
    return std::make_unique<Watch>(*this);
  };
  engine::AddressWatch watch{host, table,         interfaces, settings, *this, [this] { return make(); },
                             stop, rebuildWanted, traces};
};

TEST_F(AddressWatchTest, RebuildsOnChangedAddressesOrOnRequest) {
  const auto comes = [&] { addresses.AddAddress(1, "172.16.0.1", "255.255.0.0"); };
  const auto goes = [&] { addresses.RemoveAddress("172.16.0.1"); };
  const auto refused = [&] { RefuseOne(); };
  EXPECT_EQ(Run({{Outcome::Changed}, {Outcome::TimedOut}}), 0);
  EXPECT_EQ(limits, (std::vector<long long>(3, 120000))) << "compared every two minutes";
  EXPECT_EQ(Run({{Outcome::Changed, comes}, {Outcome::Changed}, {Outcome::TimedOut}}), 1);
  EXPECT_EQ(Run({{Outcome::TimedOut, goes}, {Outcome::Changed}}), 1);
  EXPECT_EQ(Run({{Outcome::Woken}, {Outcome::Changed, refused}}), 1)
      << "asked for, and a notice of something else";
  EXPECT_EQ(Run({{Outcome::TimedOut}, {Outcome::TimedOut}}), 1) << "the refused one is tried again";
  EXPECT_EQ(Run({{Outcome::Failed}, {Outcome::Woken}}), 0) << "the system says no more";
  EXPECT_EQ(limits.size(), 1U);
  settings.DetectInterfaceChanges = 0;
  EXPECT_EQ(Run({{Outcome::Woken}}), 0);
  EXPECT_TRUE(limits.empty());
  EXPECT_EQ(traces.Messages(), Texts{});
}

TEST_F(AddressWatchTest, RetriesAFailedRebuildAfterASecond) {
  const auto other = [&] { addresses.AddAddress(1, "172.16.0.1", "255.255.0.0"); };
  for (const auto failure : {+[] { throw std::bad_alloc(); }, +[] { throw std::runtime_error("broken"); }}) {
    rebuildFailure = failure;
    EXPECT_EQ(Run({{Outcome::Changed, other}, {Outcome::Changed}, {Outcome::TimedOut}}), 2);
    EXPECT_EQ(limits, (std::vector<long long>{120000, 1000, 120000, 120000}));
  }
  EXPECT_EQ(traces.Messages(), Texts{kLost});
}

TEST_F(AddressWatchTest, TracesAFailedWatch) {
  EXPECT_EQ(Run({{Outcome::Woken,
                  [&] {
                    stop.Set();
                    throw std::runtime_error("broken");
                  }}}),
            0);
  EXPECT_EQ(limits.size(), 1U) << "the stop is heard while it rests";
  EXPECT_EQ(traces.Messages(), Texts{kLost});
  make = [] { return nullptr; };
  Run({{Outcome::Woken}});
  EXPECT_TRUE(limits.empty());
  EXPECT_EQ(traces.Messages().back(), L"Lanseek::NotifyAddrChangeLoop error create event\n");
}

}  // namespace
}  // namespace kellanseek::test
