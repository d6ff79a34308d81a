#include "config/StaticControllers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/AcceptedControllers.h"

namespace kellanseek::test {
namespace {

constexpr const wchar_t* kUnit = L"KelLanSeekImpl";

TEST(StaticControllersTest, SaysWhyAControllerIsLeftOut) {
  struct Case {
    const char* what;
    bool complete;
    std::vector<CtrlInfo> listed;
    Outcome outcome;
  };
  const auto unknown = kVersionUnknown;
  const Case cases[] = {
      {"an address is enough", false, {Controller(L"10.0.0.1", L"", unknown)}, {{L"10.0.0.1"}, {}}},
      {"no address",
       false,
       {Controller(L"", L"S")},
       {{}, {L"Lanseek configuration: Static controller with no IP-address found. Removed."}}},
      {"no addresses",
       false,
       {Controller(L"10.0.0.256"), Controller(L"255.255.255.255"), Controller(L"plc7")},
       {{},
        {L"Lanseek configuration: Static controller has invalid IP-address 10.0.0.256. Removed.",
         L"Lanseek configuration: Static controller has invalid IP-address 255.255.255.255. Removed.",
         L"Lanseek configuration: Static controller has invalid IP-address plc7. Removed."}}},
      {"the same address",
       false,
       {Controller(L"10.0.0.1"), Controller(L"10.0.0.1"), Controller(L"10.0.0.2")},
       {{L"10.0.0.1", L"10.0.0.2"},
        {L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1."}}},
      {"the same system",
       false,
       {Controller(L"10.0.0.1", L"S"), Controller(L"10.0.0.2", L"S")},
       {{L"10.0.0.1", L"10.0.0.2"}, {}}},
      {"the same system, complete",
       true,
       {Controller(L"10.0.0.1", L"S"), Controller(L"10.0.0.2", L"S")},
       {{L"10.0.0.1"},
        {L"LanSeek configuration: System ID conflict for static controllers 10.0.0.1 and 10.0.0.2. The "
         L"latter is removed"}}},
      {"systems differ by case",
       true,
       {Controller(L"10.0.0.1", L"S"), Controller(L"10.0.0.2", L"s")},
       {{L"10.0.0.1", L"10.0.0.2"}, {}}},
      {"incomplete",
       true,
       {Controller(L"10.0.0.1", L"", unknown), Controller(L"10.0.0.2", L"S", unknown)},
       {{},
        {L"LanSeek configuration: Static controller 10.0.0.1 has invalid system ID. Removed",
         L"LanSeek configuration: Static controller 10.0.0.2 has invalid version info. Removed"}}},
      {"the earlier conflict counts",
       true,
       {Controller(L"10.0.0.1", L"A"), Controller(L"10.0.0.2", L"B"), Controller(L"10.0.0.2", L"A"),
        Controller(L"10.0.0.1", L"B"), Controller(L"10.0.0.1", L"A")},
       {{L"10.0.0.1", L"10.0.0.2"},
        {L"LanSeek configuration: System ID conflict for static controllers 10.0.0.1 and 10.0.0.2. The "
         L"latter is "
         L"removed",
         L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1.",
         L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1."}}},
      {"what was left out is in nobody's way",
       true,
       {Controller(L"10.0.0.1", L"", 6), Controller(L"10.0.0.1", L"A")},
       {{L"10.0.0.1"},
        {L"LanSeek configuration: Static controller 10.0.0.1 has invalid system ID. Removed"}}},
  };
  for (const Case& c : cases) EXPECT_EQ(Accept(c.listed, c.complete), c.outcome) << c.what;
}

TEST(StaticControllersTest, AreAvailableAtOnceOnlyWhenNothingWillAskForThem) {
  for (const bool complete : {false, true}) {
    FakeDebugOutput traces;
    const auto accepted =
        config::AcceptStaticControllers({Controller(L"10.0.0.1", L"S")}, Settings(complete), {traces, kUnit});
    ASSERT_EQ(accepted.size(), 1U);
    EXPECT_EQ(accepted.front().Available(), complete);
    EXPECT_EQ(accepted.front().published, complete);
    EXPECT_EQ(accepted.front().lanSeekID, 0U);
  }
}

}  // namespace
}  // namespace kellanseek::test
