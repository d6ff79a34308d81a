#include "SimulatedPlant.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "protocol/MessageWriter.h"

namespace kellanseek::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using ::testing::UnorderedElementsAreArray;
using Time = SimulatedNetwork::Time;
using Addresses = std::vector<std::string>;

/// The default times, as they come out of whole ticks.
constexpr milliseconds kTick{250};
constexpr Time kRefreshPeriod = 241 * kTick;  ///< Of a workstation that is alone.
constexpr Time kPatience = 67 * kTick;        ///< From an unanswered request to the loss: three more go out.

class SimulatedPlantTest : public ::testing::Test {
 protected:
  void AddControllers(int count, int first = 100) {
    for (int i = 0; i < count; ++i) {
      controllers.push_back(
          std::make_unique<SimulatedController>(network, "192.168.1." + std::to_string(first + i)));
    }
  }
  SimulatedWorkstation& AddWorkstation() {
    const std::string address = "192.168.1." + std::to_string(workstations.size() + 1);
    return *workstations.emplace_back(std::make_unique<SimulatedWorkstation>(network, address));
  }
  Addresses All() const {
    Addresses all;
    for (const auto& controller : controllers) all.push_back(controller->Address());
    return all;
  }
  bool RunUntilListed(SimulatedWorkstation& workstation, const Addresses& expected, Time patience) {
    return network.RunUntil(
        [&] {
          Addresses listed = workstation.Listed();
          return std::is_permutation(listed.begin(), listed.end(), expected.begin(), expected.end());
        },
        network.Now() + patience);
  }
  std::size_t Requests(std::string_view beginning, Time from = Time(0)) const {
    return static_cast<std::size_t>(std::count_if(
        network.sent.begin(), network.sent.end(),
        [&](const auto& each) { return each.time >= from && each.text.starts_with(beginning); }));
  }

  static constexpr const char* kFull = "Lanseek;0d;5;";
  static constexpr const char* kRefresh = "Lanseek;0d;7;";
  static constexpr const char* kTargeted = "Lanseek;1";  ///< As long as a request gets with an address.

  SimulatedNetwork network;
  std::vector<std::unique_ptr<SimulatedController>> controllers;
  std::vector<std::unique_ptr<SimulatedWorkstation>> workstations;
};

TEST_F(SimulatedPlantTest, SeveralWorkstationsShareTheirRequests) {
  AddControllers(20);
  // Their ticks fall between each other's, as those of real ones do.
  for (int i = 0; i < 3; ++i) {
    AddWorkstation();
    network.RunFor(seconds(5) + milliseconds(80));
  }
  const Time begin = network.Now();
  network.RunFor(hours(1));
  // Whoever is the first to ask again asks for all; nobody waits longer than one who is alone.
  const auto alone = static_cast<std::size_t>(hours(1) / kRefreshPeriod);
  EXPECT_GE(Requests(kRefresh, begin), alone);
  EXPECT_LE(Requests(kRefresh, begin), alone + 2);
  EXPECT_EQ(Requests(kFull), workstations.size()) << "one each, at its start";
  EXPECT_EQ(Requests(kTargeted), 0U) << "everybody answered";
  for (const auto& workstation : workstations) {
    EXPECT_THAT(workstation->Listed(), UnorderedElementsAreArray(All()));
    EXPECT_EQ(workstation->told.size(), controllers.size()) << "each new once, and nothing else";
  }
}

TEST_F(SimulatedPlantTest, APartitionLosesControllersAndHealingRestoresThem) {
  AddControllers(20);
  std::vector<SimulatedHost*> farHosts;
  Addresses sides[2];
  for (std::size_t i = 0; i < controllers.size(); ++i) {
    sides[i % 2].push_back(controllers[i]->Address());
    if (i % 2 == 1) farHosts.push_back(&controllers[i]->Host());
  }
  SimulatedWorkstation* stations[] = {&AddWorkstation(), &AddWorkstation()};
  farHosts.push_back(&stations[1]->host);
  network.RunFor(minutes(3));
  ASSERT_THAT(stations[0]->Listed(), UnorderedElementsAreArray(All()));

  network.CutOff(farHosts);
  const Time cut = network.Now();
  network.RunFor(kRefreshPeriod + kPatience + seconds(1));
  for (int side : {0, 1}) {
    EXPECT_THAT(stations[side]->Listed(), UnorderedElementsAreArray(sides[side])) << "the own side stays";
    for (const std::string& address : sides[1 - side]) EXPECT_EQ(stations[side]->Story(address), "new lost");
    for (const auto& told : stations[side]->told) {
      if (told.event.reason == CtrlNew) continue;
      EXPECT_EQ(told.event.availability, CtrlRemoved);
      EXPECT_GT(told.time, cut + kPatience - kTick);
    }
  }

  network.Heal();
  const auto lastId = stations[0]->told.back().event.lanSeekID;
  // At the latest the next refresh finds them; a presence answer alone costs one more request.
  network.RunFor(kRefreshPeriod + seconds(5));
  for (int side : {0, 1}) {
    EXPECT_THAT(stations[side]->Listed(), UnorderedElementsAreArray(All()));
    for (const std::string& address : sides[1 - side])
      EXPECT_EQ(stations[side]->Story(address), "new lost new");
    for (const std::string& address : sides[side]) EXPECT_EQ(stations[side]->Story(address), "new");
  }
  EXPECT_GT(stations[0]->told.back().event.lanSeekID, lastId) << "ids are not used twice";
}

TEST_F(SimulatedPlantTest, LossyNetworksLoseOnlySilentControllers) {
  constexpr double kLoss = 0.2;
  AddControllers(20);
  SimulatedWorkstation& station = AddWorkstation();
  network.weather = {kLoss, 0.0, milliseconds(1), milliseconds(100)};
  network.RunFor(hours(1));

  double losses = 0;
  for (const auto& told : station.told) {
    if (told.event.reason != CtrlLostConnection) continue;
    ++losses;
    SCOPED_TRACE(told.address + " lost at " + std::to_string(told.time / kTick) + " ticks");
    for (const Time time : station.heard[told.address]) {
      EXPECT_FALSE(time > told.time - kPatience && time <= told.time) << "heard at " << time / kTick;
    }
    const std::string request = protocol::BuildTargetedRequest(told.address, "");
    EXPECT_EQ(Requests(request, told.time - kPatience) - Requests(request, told.time), 3U);
  }
  // A round is lost when a refresh and three requests stay unanswered, each for the way there or the way
  // back.
  const double roundLost = std::pow(1 - (1 - kLoss) * (1 - kLoss), 4);
  const double rounds = static_cast<double>(controllers.size()) * std::ceil(hours(1) / kRefreshPeriod);
  const double expected = rounds * roundLost;
  EXPECT_LT(losses, expected + 6 * std::sqrt(expected));
  EXPECT_GT(losses, 0) << "this weather is one in which controllers get lost";

  network.weather = {};
  EXPECT_TRUE(RunUntilListed(station, All(), kRefreshPeriod + seconds(5)));
}

TEST_F(SimulatedPlantTest, DuplicatesAndReorderingChangeNoEvent) {
  AddControllers(5);
  SimulatedWorkstation* stations[] = {&AddWorkstation(), &AddWorkstation()};
  network.weather = {0.0, 0.5, milliseconds(1), milliseconds(900)};
  network.RunFor(minutes(2));
  // Changes come when no answer to a refresh is under way, and further apart than datagrams can overtake.
  const auto change = [this](SimulatedController& controller, const auto& what) {
    what(controller);
    network.RunFor(seconds(2));
  };
  for (int turn = 0; turn < 30; ++turn) {
    const std::size_t refreshes = Requests(kRefresh);
    ASSERT_TRUE(
        network.RunUntil([&] { return Requests(kRefresh) > refreshes; }, network.Now() + kRefreshPeriod));
    network.RunFor(seconds(10));
    SimulatedController& changing = *controllers[static_cast<std::size_t>(turn) % 3];
    change(changing, [&](auto& each) {
      each.Rename("name " + std::to_string(turn));
      each.Say(protocol::MessageType::CtrlInfoMsg);
    });
    change(changing, [](auto& each) { each.Say(protocol::MessageType::CtrlInfoMsg); });
    change(changing, [](auto& each) { each.Say(protocol::MessageType::CtrlRestartMsg); });
    change(changing, [](auto& each) { each.Say(protocol::MessageType::CtrlInfoMsg); });
  }
  for (const SimulatedWorkstation* station : stations) {
    for (std::size_t i = 0; i < controllers.size(); ++i) {
      std::string story = "new";
      for (int turn = 0; i < 3 && turn < 10; ++turn) story += " updated restart new";
      EXPECT_EQ(station->Story(controllers[i]->Address()), story);
    }
  }
}

}  // namespace
}  // namespace kellanseek::test
