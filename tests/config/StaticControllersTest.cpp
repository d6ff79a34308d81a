#include "config/StaticControllers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/AcceptedControllers.h"

namespace kellanseek::test {
namespace {

TEST(StaticControllersTest, AnAddressOfItsOwnIsEnough) {
  const std::wstring invalid = L"Lanseek configuration: Static controller has invalid IP-address ";
  const std::vector<CtrlInfo> listed = {Controller(L"", L"S"),
                                        Controller(L"10.0.0.256"),
                                        Controller(L"255.255.255.255"),
                                        Controller(L"plc7"),
                                        Controller(L"10.0.0.1", L"", kVersionUnknown),
                                        Controller(L"10.0.0.1"),
                                        Controller(L"10.0.0.2", L"S"),
                                        Controller(L"10.0.0.3", L"S")};
  const Outcome expected = {
      {L"10.0.0.1", L"10.0.0.2", L"10.0.0.3"},
      {L"Lanseek configuration: Static controller with no IP-address found. Removed.",
       invalid + L"10.0.0.256. Removed.", invalid + L"255.255.255.255. Removed.", invalid + L"plc7. Removed.",
       L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1."}};
  EXPECT_EQ(Accept(listed, false), expected);
}

TEST(StaticControllersTest, WhereNothingWillBeAskedSystemAndVersionAreNeededToo) {
  const std::wstring controller = L"LanSeek configuration: Static controller ";
  const std::vector<CtrlInfo> listed = {
      Controller(L"10.0.0.1", L"", kVersionUnknown), Controller(L"10.0.0.2", L"S", kVersionUnknown),
      Controller(L"10.0.0.1", L""),  // What was left out is in nobody's way.
      Controller(L"10.0.0.1", L"A"), Controller(L"10.0.0.2", L"B"), Controller(L"10.0.0.3", L"a"),
      // Both a system and an address that are taken: the earlier of the two in the list counts.
      Controller(L"10.0.0.2", L"A"), Controller(L"10.0.0.1", L"B"), Controller(L"10.0.0.4", L"B")};
  const Outcome expected = {{L"10.0.0.1", L"10.0.0.2", L"10.0.0.3"},
                            {controller + L"10.0.0.1 has invalid system ID. Removed",
                             controller + L"10.0.0.2 has invalid version info. Removed",
                             controller + L"10.0.0.1 has invalid system ID. Removed",
                             L"LanSeek configuration: System ID conflict for static controllers 10.0.0.1 and "
                             L"10.0.0.2. The latter is "
                             L"removed",
                             L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1.",
                             L"LanSeek configuration: System ID conflict for static controllers 10.0.0.2 and "
                             L"10.0.0.4. The latter is "
                             L"removed"}};
  EXPECT_EQ(Accept(listed, true), expected);
}

}  // namespace
}  // namespace kellanseek::test
