#include "events/EventItemsWorker.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "tests/support/FakeDebugOutput.h"
#include "tests/support/FakeSink.h"

namespace kellanseek::events {
namespace {

using test::FakeSink;
using test::ReceivedEvent;
using Texts = std::vector<std::wstring>;

constexpr auto kDisconnected = static_cast<HRESULT>(0x80010108U);
constexpr auto kServerUnavailable = static_cast<HRESULT>(0x800706BAU);
constexpr auto kDispatchFailure = static_cast<HRESULT>(0x80020009U);

/// Database and worker, as the component owns them.
struct Delivery {
  explicit Delivery(platform::DebugOutput& output) : worker(database, journal, output) {}

  ULONG Subscribe(IKelObjectEvents* sink, ULONG type = 0, ULONG userDef = 0) {
    ULONG cookie = 0;
    EXPECT_EQ(database.AddSubscriber(type, KelComPtr<IKelObjectEvents>(sink), userDef, &cookie), S_OK);
    return cookie;
  }
  void Queue(std::uint32_t lanSeekID) { database.QueueEvent(lanSeekID, CtrlAvailable, CtrlNew); }

  diagnostics::Journal journal;
  CEventItemsDB database;
  CEventItemsWorker worker;
};

class EventItemsWorkerTest : public testing::Test {
 protected:
  EventItemsWorkerTest() { delivery->worker.Start(nullptr); }

  test::FakeDebugOutput output;
  std::unique_ptr<Delivery> delivery = std::make_unique<Delivery>(output);
};

std::uint64_t Hundreds(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

TEST_F(EventItemsWorkerTest, DeliversEvents) {
  const auto sink = FakeSink::Make();
  delivery->Subscribe(sink.Get(), 0, 4711);
  const std::uint64_t before = Hundreds(platform::LocalFileTime());
  delivery->database.QueueEvent(0x80000000, CtrlRemoved, CtrlLostPowerDown);
  const auto events = sink->WaitFor(1);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].text, L"-2147483648;3;5;") << "the numbers are signed";
  EXPECT_EQ(events[0].userDef, 4711U);
  EXPECT_TRUE(events[0].otherFieldsZero);
  EXPECT_GE(Hundreds(events[0].time), before);
  EXPECT_LE(Hundreds(events[0].time), Hundreds(platform::LocalFileTime()));
}

TEST_F(EventItemsWorkerTest, SubscriptionToOneControllerGetsOnlyItsEvents) {
  const auto one = FakeSink::Make();
  const auto all = FakeSink::Make();
  delivery->Subscribe(one.Get(), 12);
  delivery->Subscribe(all.Get(), 0);
  for (std::uint32_t id : {11U, 12U, 13U}) delivery->Queue(id);
  EXPECT_EQ(all->WaitForTexts(3), (Texts{L"11;1;0;", L"12;1;0;", L"13;1;0;"}));
  EXPECT_EQ(one->WaitForTexts(1), (Texts{L"12;1;0;"}));
}

TEST_F(EventItemsWorkerTest, DropsOnlyDisconnectedSinks) {
  struct Case {
    FakeSink::Answer answer;
    bool dropped = false;
  };
  const auto says = [](HRESULT result) { return [result](const ReceivedEvent&) { return result; }; };
  for (const Case& test : {Case{says(kDisconnected), true}, Case{says(kServerUnavailable), true},
                           Case{says(kDispatchFailure)}, Case{says(E_FAIL)}, Case{says(0x00010000)},
                           Case{[](const ReceivedEvent&) -> HRESULT { throw std::runtime_error("sink"); }},
                           Case{[](const ReceivedEvent&) -> HRESULT { throw 7; }}}) {
    Delivery own(output);
    const auto failing = FakeSink::Make(test.answer);
    const auto witness = FakeSink::Make();
    own.Subscribe(failing.Get());
    own.Subscribe(witness.Get());
    own.worker.Start(nullptr);
    own.Queue(11);
    witness->WaitFor(1);
    own.Queue(12);
    witness->WaitFor(2);
    EXPECT_EQ(failing->WaitFor(test.dropped ? 1 : 2).size(), test.dropped ? 1U : 2U);
  }
  EXPECT_TRUE(output.Messages().empty());
}

TEST_F(EventItemsWorkerTest, StopEndsAnEndlessBurst) {
  const auto sink = FakeSink::Make([&](const ReceivedEvent&) {
    delivery->Queue(11);
    delivery->Queue(12);
    return S_OK;
  });
  delivery->Subscribe(sink.Get());
  delivery->Queue(11);
  sink->WaitFor(100);
  delivery->worker.Stop();
  const std::size_t delivered = sink->WaitFor(0).size();
  delivery->Queue(13);
  delivery->worker.Stop();
  EXPECT_EQ(sink->WaitFor(0).size(), delivered);
}

}  // namespace
}  // namespace kellanseek::events
