#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <kellanseek/client.hpp>

#include "tests/include/FakeComponent.h"

namespace kellanseek::client {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr milliseconds kNow(0);
constexpr milliseconds kLong(60'000);

Controller Cell(std::uint32_t id, const std::string& name) {
  Controller controller;
  controller.id = id;
  controller.availability = Availability::Available;
  controller.name = name;
  controller.address = "10.1.0." + std::to_string(id);
  controller.identity = "{5A-" + std::to_string(id) + "}";
  return controller;
}

/// A client of a fake component. `fake` is valid while the object lives.
class ClientTest : public testing::Test {
 protected:
  void Appear(const Controller& controller) {
    fake->Put(controller);
    fake->Tell(controller.id, CtrlAvailable, CtrlNew);
  }
  void Change(const Controller& controller) {
    fake->Put(controller);
    fake->Tell(controller.id, CtrlAvailable, CtrlUpdated);
  }
  void Vanish(std::uint32_t id) {
    fake->Remove(id);
    fake->Tell(id, CtrlRemoved, CtrlLostConnection);
  }

  std::atomic<bool> alive{false};
  test::FakeComponent* const fake = new test::FakeComponent(alive);
  std::optional<Client> client =
      Client::from_object(*KelComPtr<IKelLanSeek2>::Attach(static_cast<IKelLanSeek2*>(fake)));
};

/// Everything that waits in the stream, one text each: "+" listed, "!" added, "~" changed, "-" removed.
std::vector<std::string> Drain(ChangeStream& changes, milliseconds timeout = kNow) {
  std::vector<std::string> texts;
  while (const auto change = changes.next(timeout)) {
    const auto& [type, controller, before, reason, time] = *change;
    const std::string what =
        controller.name + (before ? " was " + before->name : "") + (reason ? " " + to_string(*reason) : "");
    const std::string state =
        controller.availability == Availability::Available ? "" : " " + to_string(controller.availability);
    switch (type) {
      case ChangeType::Listed: texts.push_back("+" + what); break;
      case ChangeType::Added: texts.push_back("!" + what); break;
      case ChangeType::Changed: texts.push_back("~" + what + state); break;
      case ChangeType::Removed: texts.push_back("-" + what + state); break;
      case ChangeType::Synced:
      case ChangeType::Resync: texts.push_back(to_string(type)); break;
    }
  }
  return texts;
}

TEST(ClientText, MalformedInputBecomesReplacementCharacters) {
  const struct {
    std::string bytes;
    std::u16string text;
  } cases[] = {
      {"S\xC3\xBC"
       "d \xE2\x82\xAC \xF0\x9F\xA4\x96",
       u"S\u00fcd \u20ac \U0001F916"},
      {std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"\xFF\xC3", u"\ufffd\ufffd"},                                  // no lead, no end
      {"\xC0\x80 \xE0\x9F\xBF", u"\ufffd\ufffd \ufffd\ufffd\ufffd"},  // longer than necessary
      {"\xED\xA0\x80", u"\ufffd\ufffd\ufffd"},                        // a surrogate
      {"\xF4\x90\x80\x80", u"\ufffd\ufffd\ufffd\ufffd"},              // too large
      {"\xE2\x82Z", u"\ufffdZ"},                                      // cut short by a letter
  };
  for (const auto& one : cases) {
    EXPECT_EQ(one.text, detail::Convert<char16_t>(std::string_view(one.bytes))) << one.bytes;
    const std::string valid = detail::Convert<char>(std::u16string_view(one.text));
    EXPECT_EQ(one.text, detail::Convert<char16_t>(std::string_view(valid)));
    EXPECT_EQ(valid, to_utf8(to_wide(one.bytes)));
  }
  const char16_t halves[] = {0xD83E, u'x', 0xDD16, 0xD83E};
  EXPECT_EQ("\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD",
            detail::Convert<char>(std::u16string_view(halves, std::size(halves))));
  EXPECT_EQ("\xEF\xBF\xBD", detail::Convert<char>(std::u32string_view(U"\x110000", 1)));
}

TEST(ClientText, PrintableEscapesEverythingThatControlsATerminal) {
  const struct {
    std::string text;
    std::string printed;
  } cases[] = {
      {"cell 1", "cell 1"},
      {"Zelle S\u00fcd", "Zelle S\u00fcd"},
      {"\u30bb\u30eb \U0001F916", "\u30bb\u30eb \U0001F916"},
      {"C:\\cell\\u001b", "C:\\cell\\u001b"},
      {"\x1b[31mred\x07", "\\u001b[31mred\\u0007"},
      {std::string("a\0b\r\n\t", 6), "a\\u0000b\\u000d\\u000a\\u0009"},
      {"\x7f\u0080\u009b\u009f\u00a0", "\\u007f\\u0080\\u009b\\u009f\u00a0"},
      {"\u202egnp.exe\u2066\u200f\ufeff", "\\u202egnp.exe\\u2066\\u200f\\ufeff"},
      {"\u2028\u2029", "\\u2028\\u2029"},
      {"bad \xff\xc3", "bad \ufffd\ufffd"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.printed, printable(one.text));
}

TEST(ClientFilter, PatternsAndNetworks) {
  Controller controller = Cell(7, "Press S\u00fcd 12");
  controller.host_name = "press-12.plant.example";
  const struct {
    const char* pattern;
    bool matches;
  } patterns[] = {{"", true},
                  {"*", true},
                  {"press s\u00fcd 12", true},
                  {"Press S?d ??", true},
                  {"*12", true},
                  {"*S*d*", true},
                  {"P*1?", true},
                  {"Press", false},
                  {"*Press", false},
                  {"Press*13", false},
                  {"?", false},
                  {"*1*1*", false},
                  {"**12**", true},
                  {"Press S??d 12", false}};
  for (const auto& one : patterns) {
    Filter filter;
    filter.name = one.pattern;
    EXPECT_EQ(one.matches, filter.matches(controller)) << one.pattern;
  }
  const struct {
    const char* network;
    const char* address;
    bool contains;
  } networks[] = {{"10.1.0.0/16", "10.1.255.255", true}, {"10.1.0.0/16", "10.2.0.0", false},
                  {"10.1.77.77/24", "10.1.77.1", true},  {"0.0.0.0/0", "255.1.2.3", true},
                  {"10.1.0.7", "10.1.0.7", true},        {"10.1.0.7", "10.1.0.8", false},
                  {"0.0.0.0/0", "/vc/cell", false},      {"0.0.0.0/0", "10.1.0.7 ", false}};
  for (const auto& one : networks)
    EXPECT_EQ(one.contains, Network(one.network).contains(one.address)) << one.network;
  for (const char* const text : {"", "10.1.0.0/33", "10.1.0/16", "10.1.0.256", "10.1.0.0/", "10.1.0.0/8x"})
    EXPECT_THROW(Network{text}, Error) << text;
  Filter all;
  all.kind = Kind::RC;
  all.availability = Availability::Available;
  all.host = "press-*";
  all.identity = "{5a-7}";
  all.network.emplace("10.1.0.0/24");
  EXPECT_TRUE(all.matches(controller));
  controller.host_name.reset();
  EXPECT_FALSE(all.matches(controller));
}

TEST_F(ClientTest, ReadsEveryPropertyAndWhatIsMissing) {
  Controller full = Cell(11, "Zelle S\u00fcd \U0001F916");
  full.kind = Kind::VC;
  full.origin = Origin::Remote;
  full.availability = Availability::Unavailable;
  full.level = Level::Boot;
  full.mac = "02-00-00-00-00-0b";
  full.system_name = "system";
  full.release_path = "/release";
  full.controller_id = "id";
  full.host_name = "host";
  full.version = Version{6, 10, 2};
  full.api_revision = 3;
  full.port = 80;
  full.process = 4711;
  Controller sparse = Cell(12, "");
  sparse.version = Version{6, 10, std::nullopt};
  for (const Controller& one : {full, sparse}) {
    fake->Put(one);
    EXPECT_EQ(one, client->read(one.id));
    EXPECT_EQ(one, client->find_by_address(one.address));
    EXPECT_EQ(one, client->find_by_identity(one.identity));
  }
  EXPECT_EQ(std::vector<Controller>{full}, client->find_by_name(full.name));
  EXPECT_EQ("6.10.2 6.10", to_string(*full.version) + " " + to_string(*sparse.version));
  EXPECT_FALSE(client->read(13));
  sparse.availability = Availability::Removed;  // Still read by the getters, but no longer there.
  fake->Put(sparse);
  EXPECT_FALSE(client->read(sparse.id));
  EXPECT_FALSE(client->find_by_address(""));
  EXPECT_FALSE(client->find_by_identity("{none}"));
  for (std::uint32_t id = 100; id < 300; ++id) fake->Put(Cell(id, "x"));
  EXPECT_EQ(201U, client->controllers().size());
  fake->nameResult = KEL_E_LANSEEKID_NOT_IN_USE;  // Gone between two getters.
  EXPECT_THAT(client->controllers(), IsEmpty());
}

TEST_F(ClientTest, FailuresCarryCodeAttemptAndText) {
  fake->Put(Cell(11, "a"));
  fake->nameResult = E_OUTOFMEMORY;
  fake->methodResult = E_INVALIDARG;
  const auto expect = [](HRESULT code, const std::string& what, const auto& attempt) {
    try {
      attempt();
      ADD_FAILURE() << "no error: " << what;
    } catch (const Error& error) {
      EXPECT_EQ(code, error.code());
      EXPECT_EQ(what, error.what());
    }
  };
  expect(E_OUTOFMEMORY, "reading a controller: the reason \u2026 (0x8007000E)",
         [&] { client->controllers(); });
  expect(E_INVALIDARG, "adding 10.1: the reason \u2026 (0x80070057)", [&] { client->add("10.1"); });
  expect(E_INVALIDARG, "refreshing the controller 9: the reason \u2026 (0x80070057)",
         [&] { client->refresh(9); });
  fake->methodResult = KEL_E_SYSTEMID_PRESENT;
  expect(KEL_E_SYSTEMID_PRESENT, "registering a: the reason \u2026 (0xC0040703)", [&] {
    VirtualController controller;
    controller.name = "a";
    const auto registration = client->register_virtual(controller);
  });
  fake->methodResult = KEL_E_LANSEEKID_NOT_IN_USE;
  EXPECT_FALSE(client->refresh(11));
  for (const auto& [result, outcome] : {std::pair(S_OK, AddOutcome::Added),
                                        {KEL_S_ALREADY_DYNAMIC, AddOutcome::AlreadyDynamic},
                                        {KEL_S_ALREADY_CONFIGURED, AddOutcome::AlreadyConfigured}}) {
    fake->methodResult = result;
    EXPECT_EQ(outcome, client->add("10.1.0.77").outcome);
  }
  EXPECT_EQ("{\"name\":\"S\u00fcd\"}", client->report());
  fake->sweeps = 0;
  EXPECT_FALSE(client->wait_until_synced(kNow));
  fake->sweeps = 1;
  EXPECT_TRUE(client->wait_until_synced(kNow));
  fake->hasDiagnostics = false;
  const Client old = Client::from_object(*client->object());
  const std::string missing = "querying the component: it does not offer IKelLanSeekDiagnostics (0x80004002)";
  expect(E_NOINTERFACE, missing, [&] { old.report(); });
  expect(E_NOINTERFACE, missing, [&] { old.wait_until_synced(kLong); });
  ChangeStream changes = old.changes();
  fake->nameResult = S_OK;
  EXPECT_THAT(Drain(changes), ElementsAre("+a", "synced"));
}

TEST_F(ClientTest, SubscriptionDeliversUntilItsEnd) {
  std::vector<std::string> events;
  Subscription subscription = client->subscribe([&](const Event& event) {
    events.push_back(std::to_string(event.id) + " " + to_string(event.reason));
    if (event.reason == Reason::Restart) throw std::runtime_error("from a handler");
  });
  fake->Tell(11, CtrlAvailable, CtrlNew);
  fake->Tell(11, CtrlRemoved, CtrlLostRestart);
  EXPECT_EQ(E_FAIL, fake->lastNotify);
  fake->Tell(0xFFFFFFFF, CtrlAvailable, CtrlReconnected);
  EXPECT_EQ(S_OK, fake->lastNotify);
  Subscription moved = std::move(subscription);
  moved = client->subscribe([&](const Event&) { events.push_back("other"); });
  fake->Tell(12, CtrlAvailable, CtrlNew);
  moved.reset();
  EXPECT_FALSE(moved.active());
  fake->Tell(13, CtrlAvailable, CtrlNew);
  EXPECT_THAT(events, ElementsAre("11 new", "11 restart", "4294967295 reconnected", "other"));
}

TEST_F(ClientTest, HandlerMayEndItsSubscriptionAndTheComponent) {
  int calls = 0;
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> handlerLives = held;
  Subscription subscription;
  subscription = client->subscribe([&, held = std::move(held), copy = *client](const Event&) {
    ++calls;
    subscription.reset();
    EXPECT_TRUE(copy.controllers().empty());  // What the handler holds outlives the subscription.
  });
  client.reset();
  ASSERT_TRUE(alive);
  fake->Tell(11, CtrlAvailable, CtrlNew);
  EXPECT_EQ(1, calls);
  EXPECT_TRUE(handlerLives.expired());
  EXPECT_FALSE(alive) << "the handler's client was the last";
}

TEST_F(ClientTest, HandlerThatHoldsTheClientIsNoCycle) {
  Subscription subscription = client->subscribe([copy = *client](const Event&) {});
  ChangeStream changes = client->changes();
  client.reset();
  EXPECT_TRUE(alive);
  { const ChangeStream ended = std::move(changes); }
  subscription.reset();
  EXPECT_FALSE(alive);
}

TEST_F(ClientTest, EndWaitsForTheHandlerOnAnotherThread) {
  std::promise<void> entered, unsubscribed, leave, ended;
  std::atomic<bool> left{false};
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> handlerLives = held;
  Subscription subscription = client->subscribe([&, held = std::move(held)](const Event&) {
    entered.set_value();
    leave.get_future().wait();
    left = true;
  });
  fake->onUnsubscribe = [&] { unsubscribed.set_value(); };
  std::thread events([&] { fake->Tell(11, CtrlAvailable, CtrlNew); });
  entered.get_future().wait();
  std::thread ender([&] {
    subscription.reset();
    EXPECT_TRUE(left);
    EXPECT_TRUE(handlerLives.expired());
    ended.set_value();
  });
  unsubscribed.get_future().wait();
  EXPECT_EQ(std::future_status::timeout, ended.get_future().wait_for(milliseconds(50)));
  leave.set_value();
  ender.join();
  events.join();
}

TEST_F(ClientTest, HandlerMayEndOtherSubscriptionsAheadOfTheirCall) {
  Subscription other;
  std::optional<ChangeStream> changes;
  int calls = 0;
  const Subscription subscription = client->subscribe([&](const Event&) {
    ++calls;
    other.reset();
    changes.reset();
  });
  other = client->subscribe([](const Event&) { ADD_FAILURE() << "called after its end"; });
  changes = client->changes();
  Appear(Cell(11, "a"));
  Appear(Cell(12, "b"));
  EXPECT_EQ(2, calls);
}

TEST_F(ClientTest, StreamIsTheListThenTheMarkThenTheChanges) {
  fake->Put(Cell(11, "a"));
  fake->Put(Cell(12, "b"));
  fake->sweeps = 0;
  ChangeStream changes = client->changes();
  Appear(Cell(13, "c"));                   // Before the list is read: once.
  fake->Tell(11, CtrlAvailable, CtrlNew);  // The list is behind an event of its own.
  Vanish(12);                              // Gone before it was read: not at all.
  EXPECT_THAT(Drain(changes), ElementsAre("+c new", "+a new"));
  Appear(Cell(14, "d"));
  fake->Put(Cell(15, "e"));  // The event is still on its way.
  fake->sweeps = 1;
  EXPECT_THAT(Drain(changes), ElementsAre("+d new", "+e", "synced"));
  fake->Tell(15, CtrlAvailable, CtrlNew);  // Known from the list.
  Change(Cell(14, "D"));
  fake->Tell(14, CtrlAvailable, CtrlUpdated);           // Read together with the change before.
  fake->Tell(13, CtrlUnavailable, CtrlLostConnection);  // The getters are ahead of it.
  fake->Tell(13, CtrlAvailable, CtrlReconnected);
  Appear(Cell(16, "f"));
  EXPECT_THAT(Drain(changes), ElementsAre("~D was d updated", "~c was c lost-connection unavailable",
                                          "~c was c reconnected", "!f new"));
}

TEST_F(ClientTest, SlowReaderGetsTheListAgain) {
  for (std::uint32_t id = 11; id < 16; ++id) fake->Put(Cell(id, std::to_string(id)));
  ChangeStream changes = client->changes(2);
  EXPECT_EQ(6U, Drain(changes).size()) << "the list needs no room";
  Change(Cell(11, "a"));
  Vanish(12);
  EXPECT_THAT(Drain(changes), ElementsAre("~a was 11 updated", "-12 was 12 lost-connection removed"));
  Change(Cell(11, "b"));
  Vanish(13);
  Vanish(14);
  Change(Cell(11, "c"));
  EXPECT_THAT(Drain(changes), ElementsAre("resync", "+c", "+15", "synced"));
  // The queue overflows while the list is fetched.
  Vanish(15);
  Change(Cell(11, "d"));
  Change(Cell(11, "e"));
  fake->onList = [&] {
    fake->onList = nullptr;
    for (std::uint32_t id = 16; id < 20; ++id) Appear(Cell(id, std::to_string(id)));
  };
  EXPECT_THAT(Drain(changes), ElementsAre("resync", "resync", "+e", "+16", "+17", "+18", "+19", "synced"));
}

TEST_F(ClientTest, StreamSkipsNothingIfAGetterFails) {
  fake->Put(Cell(11, "a"));
  ChangeStream changes = client->changes();
  fake->nameResult = E_OUTOFMEMORY;
  EXPECT_THROW(changes.next(kNow), Error);
  fake->nameResult = S_OK;
  EXPECT_THAT(Drain(changes), ElementsAre("+a", "synced"));
  fake->nameResult = E_OUTOFMEMORY;
  Change(Cell(11, "b"));
  fake->nameResult = S_OK;
  EXPECT_THAT(Drain(changes), ElementsAre("resync", "+b", "synced"));
}

TEST_F(ClientTest, ReaderIsWokenByChangesAndByCancel) {
  ChangeStream changes = client->changes();
  ASSERT_EQ(ChangeType::Synced, changes.next(kLong)->type);
  std::promise<void> started, got;
  std::thread reader([&] {
    started.set_value();
    EXPECT_EQ("a", changes.next(kLong)->controller.name);
    got.set_value();
    EXPECT_FALSE(changes.next(milliseconds::max()));
    EXPECT_FALSE(changes.next(milliseconds::max()));
  });
  started.get_future().wait();
  Appear(Cell(11, "a"));
  got.get_future().wait();
  changes.cancel();
  reader.join();
}

// Against random changes on another thread: whoever applies the stream to a map has the component's list.
TEST_F(ClientTest, StreamAppliedToAMapIsTheList) {
  constexpr int kSteps = 3000;
  ChangeStream changes = client->changes(64);
  std::thread events([&] {
    std::uint32_t random = 1;
    for (int step = 0; step < kSteps; ++step) {
      random = random * 1664525U + 1013904223U;
      const std::uint32_t id = 11 + (random >> 16) % 20;
      if (!client->read(id)) {
        Appear(Cell(id, std::to_string(step)));
      } else if ((random >> 28) < 8) {
        Change(Cell(id, std::to_string(step)));
      } else {
        Vanish(id);
      }
    }
    Appear(Cell(100, "last"));
  });
  std::map<std::uint32_t, Controller> known;
  bool synced = false;
  while (!synced || known.count(100) == 0) {
    const auto change = changes.next(kLong);
    ASSERT_TRUE(change);
    const std::uint32_t id = change->controller.id;
    switch (change->type) {
      case ChangeType::Resync: known.clear(), synced = false; break;
      case ChangeType::Synced: synced = true; break;
      case ChangeType::Listed:
      case ChangeType::Added:
        EXPECT_EQ(synced, change->type == ChangeType::Added);
        EXPECT_TRUE(known.emplace(id, change->controller).second);
        break;
      case ChangeType::Changed:
        EXPECT_EQ(known.at(id), change->before);
        known[id] = change->controller;
        break;
      case ChangeType::Removed:
        EXPECT_EQ(known.at(id), change->before);
        EXPECT_EQ(known.at(id).name, change->controller.name) << "what it was";
        known.erase(id);
        break;
    }
  }
  events.join();
  std::vector<Controller> list;
  for (const auto& [id, controller] : known) list.push_back(controller);
  EXPECT_EQ(client->controllers(), list);
}

TEST_F(ClientTest, VirtualControllerIsRegisteredAndWithdrawn) {
  VirtualController controller;
  controller.name = "S\u00fcd";
  controller.identity = "{5A}";
  controller.path = "/vc";
  controller.system_name = "cell";
  controller.version = Version{6, 10, 2};
  controller.publish = true;
  {
    VirtualRegistration first = client->register_virtual(controller);
    client.reset();
    VirtualRegistration registration = std::move(first);
    registration.announce();
    registration.forward("bye");
    const auto& calls = fake->registrarCalls;
    EXPECT_THAT(calls, ElementsAre("publish /vc {5A}",
                                   "forward Lanseek;33;1;1:S\u00fcd;3:cell;4:{5A};7:6;8:10;f:2;11:2;",
                                   "forward bye"));
    {
      const KelComPtr<IKelLanSeek2> object(fake);
      registration.reset();
      EXPECT_THAT(std::vector<std::string>(calls.begin() + 3, calls.end()),
                  ElementsAre("withdraw {5A}", "remove {5A}"));
    }
    EXPECT_FALSE(alive);
  }
  for (const std::size_t length : {200U, 210U, 5000U, 70'000U}) {
    controller.name = std::string(length, 'n');
    const std::string message = identity_message(controller);
    EXPECT_EQ(message.size(), std::stoul(message.substr(8), nullptr, 16));
  }
  for (const char* const broken : {"a;b", "a\nb", "  "}) {
    controller.name = broken;
    EXPECT_THROW(identity_message(controller), Error) << broken;
  }
}

}  // namespace
}  // namespace kellanseek::client
