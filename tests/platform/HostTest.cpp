#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Event.h"
#include "platform/NetworkAddresses.h"
#include "platform/Process.h"
#include "platform/ReverseLookup.h"
#include "platform/Thread.h"
#include "platform/UdpSocket.h"

namespace kellanseek::test {
namespace {

using platform::Event;
using platform::ParseIpv4;
using std::chrono::milliseconds;

struct SystemAddresses {
  platform::NetworkAddresses& addresses = platform::SystemNetworkAddresses();
  platform::UdpNetwork& network = platform::SystemUdpNetwork();
  const platform::SocketError started = network.Startup();
  ~SystemAddresses() { network.Cleanup(); }
};

TEST(NetworkAddressesTest, EveryAddressHasAMaskAndAnInterfaceAndCanBeBound) {
  const SystemAddresses host;
  const auto rows = host.addresses.Addresses();
  ASSERT_TRUE(rows.has_value());
  ASSERT_FALSE(rows->empty());
  for (const platform::AddressRow& row : *rows) {
    SCOPED_TRACE(platform::FormatIpv4(row.address) + " of interface " + std::to_string(row.interfaceIndex));
    const std::uint32_t hosts = platform::HostOrder(~row.mask);
    EXPECT_EQ(hosts & (hosts + 1), 0U) << "a mask is ones, then zeros";
    const auto interfaceRow = host.addresses.Interface(row.interfaceIndex);
    ASSERT_TRUE(interfaceRow.has_value());
    EXPECT_EQ(interfaceRow->adminStatus, platform::kInterfaceUp);
    EXPECT_LE(interfaceRow->physicalAddressLength, interfaceRow->physicalAddress.size());
    const bool loopback = (platform::HostOrder(row.address) >> 24) == 127;
    EXPECT_EQ(interfaceRow->type == platform::kLoopbackInterface, loopback);
    EXPECT_TRUE(!loopback || interfaceRow->physicalAddressLength == 0);
    platform::SocketError error = 0;
    EXPECT_EQ(host.network.CreateSocket(error)->Bind(row.address, row.mask, 0), 0);
  }
  EXPECT_THAT(*rows,
              ::testing::Contains(::testing::Field(&platform::AddressRow::address, ParseIpv4("127.0.0.1"))));
}

TEST(NetworkAddressesTest, TheLoopbackIsUpAndHasCarrierAndAnAddress) {
  const SystemAddresses host;
  const std::vector<platform::InterfaceDetails> all = host.addresses.Details();
  const auto loopback =
      std::find_if(all.begin(), all.end(), [](const auto& each) { return each.isLoopback; });
  ASSERT_NE(loopback, all.end());
  EXPECT_TRUE(loopback->isUp && loopback->hasCarrier && loopback->hasIpv4) << loopback->index;
  EXPECT_FALSE(loopback->isPointToPoint || loopback->name.empty());
  EXPECT_TRUE(host.addresses.Interface(loopback->index)) << loopback->index;
  EXPECT_EQ(platform::InterfaceIndexOfName(loopback->name), loopback->index);
}

TEST(NetworkAddressesTest, AnUnknownInterfaceHasNoRow) {
  const SystemAddresses host;
  EXPECT_FALSE(host.addresses.Interface(0x7FFFFFF0).has_value());
  EXPECT_FALSE(host.addresses.Interface(0).has_value());
  EXPECT_EQ(platform::InterfaceIndexOfName(L"no such interface"), std::nullopt);
  EXPECT_EQ(platform::InterfaceIndexOfName(L""), std::nullopt);
}

TEST(AddressChangeWatchTest, EndsAtTheTimeOutOrOnStop) {
  using Outcome = platform::AddressChangeWatch::Outcome;
  const auto watch = platform::WatchAddressChanges();
  ASSERT_NE(watch, nullptr);
  Event stop(Event::Kind::ManualReset);
  Event wake(Event::Kind::AutoReset);
  EXPECT_EQ(watch->Wait(stop, wake, milliseconds(50)), Outcome::TimedOut);
  wake.Set();
  EXPECT_EQ(watch->Wait(stop, wake, milliseconds(20000)), Outcome::Woken);
  platform::Thread setter;
  ASSERT_FALSE(setter.Start("Setter", [&stop] {
    Event never(Event::Kind::ManualReset);
    platform::WaitForAny({&never}, milliseconds(20));
    stop.Set();
  }));
  EXPECT_EQ(watch->Wait(stop, wake, milliseconds(20000)), Outcome::Stopped);
  EXPECT_EQ(watch->Wait(stop, wake, milliseconds(20000)), Outcome::Stopped);
}

TEST(ReverseLookupTest, FindsTheNameOfThisHostOnSeveralThreads) {
  const SystemAddresses library;  // Look-ups that go through the socket library need it started.
  platform::ReverseLookup& lookup = platform::SystemReverseLookup();
  const auto name = lookup.HostName(ParseIpv4("127.0.0.1"));
  ASSERT_TRUE(name.has_value());
  EXPECT_FALSE(name->empty());
  EXPECT_EQ(name->find('\0'), std::string::npos);
  std::vector<std::vector<std::optional<std::string>>> answers(4);
  {
    std::vector<platform::Thread> threads(answers.size());
    for (std::size_t i = 0; i < threads.size(); ++i) {
      ASSERT_FALSE(threads[i].Start("Asker", [&answer = answers[i], &lookup] {
        for (int turn = 0; turn < 50; ++turn) answer.push_back(lookup.HostName(ParseIpv4("127.0.0.1")));
      }));
    }
  }
  EXPECT_THAT(answers, ::testing::Each(::testing::AllOf(::testing::SizeIs(50), ::testing::Each(name))));
}

TEST(ProcessTableTest, ThisProcessRunsUnderItsStampAndAnUnusedIdDoesNotRun) {
  platform::ProcessTable& table = platform::SystemProcessTable();
  const std::uint32_t self = platform::CurrentProcessId();
  const std::uint64_t stamp = table.StartStamp(self);
  ASSERT_NE(stamp, 0U);
  EXPECT_EQ(table.StartStamp(self), stamp);
  EXPECT_TRUE(table.IsRunning(self, stamp));
  EXPECT_TRUE(table.IsRunning(self, 0));
  EXPECT_FALSE(table.IsRunning(self, stamp + 1));
  for (const std::uint32_t id : {0U, 0x7FFFFFFCU, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(table.StartStamp(id), 0U) << id;
    EXPECT_FALSE(table.IsRunning(id, 0)) << id;
    EXPECT_FALSE(table.IsRunning(id, 1)) << id;
  }
}

TEST(SystemProcessTableDeathTest, AProcessThatHasEndedDoesNotRun) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  std::string said;
  const auto keep = [&said](const std::string& text) {
    said = text.substr(text.find("child ") + 6);
    return true;
  };
  EXPECT_EXIT(
      {
        const std::uint32_t self = platform::CurrentProcessId();
        std::cerr << "child " << self << " " << platform::SystemProcessTable().StartStamp(self) << std::endl;
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), ::testing::Truly(keep));
  std::uint32_t child = 0;
  std::uint64_t stamp = 0;
  ASSERT_TRUE(std::istringstream(said) >> child >> stamp) << said;
  ASSERT_NE(child, platform::CurrentProcessId());
  ASSERT_NE(stamp, 0U);
  EXPECT_FALSE(platform::SystemProcessTable().IsRunning(child, stamp));
  EXPECT_NE(platform::SystemProcessTable().StartStamp(child), stamp);
}

/// Local time in milliseconds, from the standard libraries.
std::int64_t WallMilliseconds() {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(floor<std::chrono::seconds>(now));
  const std::tm local = *std::localtime(&seconds);
  const auto date = year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
  return (sys_days(date).time_since_epoch() + hours(local.tm_hour) + minutes(local.tm_min) +
          std::chrono::seconds(local.tm_sec)) /
             milliseconds(1) +
         floor<milliseconds>(now.time_since_epoch()).count() % 1000;
}

TEST(ClockTest, LocalFileTimeIsLocalTime) {
#ifdef _WIN32
  constexpr std::int64_t kClockTick = 16;  // Windows' clock may be read up to one of its ticks late.
#else
  constexpr std::int64_t kClockTick = 1;
#endif
  for (int reading = 0; reading < 100; ++reading) {
    const std::int64_t before = WallMilliseconds();
    const FILETIME time = platform::LocalFileTime();
    const std::int64_t after = WallMilliseconds();
    const std::uint64_t steps = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    const std::int64_t shown = static_cast<std::int64_t>(steps / 10000) - 11644473600000;
    ASSERT_GE(shown, before - kClockTick);
    ASSERT_LE(shown, after + kClockTick);
  }
}

TEST(ClockTest, TicksAreMilliseconds) {
  using Clock = std::chrono::steady_clock;
  // Whatever else the machine does, this clock is read outside and inside the other's span.
  const auto begin = Clock::now();
  const std::uint32_t first = platform::TickCount();
  const auto afterFirst = Clock::now();
  auto beforeLast = afterFirst;
  std::uint32_t last = first;
  while (Clock::now() - begin < milliseconds(200)) {
    beforeLast = Clock::now();
    const std::uint32_t tick = platform::TickCount();
    ASSERT_LT(tick - last, 0x80000000U) << "went back";
    last = tick;
  }
  const milliseconds counted(last - first);
  EXPECT_GE(counted, beforeLast - afterFirst - milliseconds(20));
  EXPECT_LE(counted, Clock::now() - begin + milliseconds(20));
}

}  // namespace
}  // namespace kellanseek::test
