#include "client/EventHistory.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace kellanseek::kelseek {
namespace {

Controller Cell(const std::string& name, KelCtrlAvailability availability = CtrlAvailable) {
  Controller controller;
  controller.id = 11;
  controller.name = name;
  controller.availability = availability;
  return controller;
}

// An event as one line: reason, state, name and previous name.
std::string Summary(const std::optional<Event>& event) {
  if (!event) return "nothing";
  const std::string reason = event->reason ? NameOf(*event->reason) : "known";
  const std::string before = event->before ? " was " + event->before->name : "";
  return reason + " " + NameOf(event->controller.availability) + " " + event->controller.name + before;
}

class EventHistoryTest : public testing::Test {
 protected:
  std::string Changed(KelCtrlAvailability availability, LanSeekEventReason reason,
                      std::optional<Controller> now) {
    return Summary(history_.Changed(11, availability, reason, std::move(now)));
  }

  EventHistory history_;
};

TEST_F(EventHistoryTest, RemembersWhatAControllerWas) {
  EXPECT_EQ("new available a", Changed(CtrlAvailable, CtrlNew, Cell("a")));
  EXPECT_EQ("nothing", Summary(history_.Listed(Cell("a")))) << "the event came ahead of the listing";
  EXPECT_EQ("updated available b was a", Changed(CtrlAvailable, CtrlUpdated, Cell("b")));
  EXPECT_EQ("lost-connection unavailable b was b", Changed(CtrlUnavailable, CtrlLostConnection, Cell("b")));
  EXPECT_EQ("restart removed b was b", Changed(CtrlRemoved, CtrlLostRestart, std::nullopt));
  EXPECT_EQ("restart removed ", Changed(CtrlRemoved, CtrlLostRestart, std::nullopt));
}

TEST_F(EventHistoryTest, ListedAtTheStartIsNewOnce) {
  EXPECT_EQ("new available a", Summary(history_.Listed(Cell("a"))));
  EXPECT_EQ("nothing", Changed(CtrlAvailable, CtrlNew, Cell("a")));
  EXPECT_EQ("updated available b was a", Changed(CtrlAvailable, CtrlUpdated, Cell("b")));
}

TEST_F(EventHistoryTest, ChangeMergedIntoTheLateNewEventIsAnUpdate) {
  history_.Listed(Cell("a"));
  EXPECT_EQ("updated available b was a", Changed(CtrlAvailable, CtrlNew, Cell("b")));
}

TEST_F(EventHistoryTest, SilentControllerThatWasListedIsKnownNotNew) {
  EXPECT_EQ("known unavailable a", Summary(history_.Listed(Cell("a", CtrlUnavailable))));
  EXPECT_EQ("reconnected available a was a", Changed(CtrlAvailable, CtrlReconnected, Cell("a")));
}

TEST_F(EventHistoryTest, EventOfAControllerThatIsGoneAlreadyTellsWhatItWas) {
  history_.Listed(Cell("a"));
  EXPECT_EQ("updated available a was a", Changed(CtrlAvailable, CtrlUpdated, std::nullopt));
  EXPECT_EQ("power-down removed a was a", Changed(CtrlRemoved, CtrlLostPowerDown, std::nullopt));
}

}  // namespace
}  // namespace kellanseek::kelseek
