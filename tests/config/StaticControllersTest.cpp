#include "config/StaticControllers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/AcceptedControllers.h"

namespace kellanseek::test {
namespace {

using Texts = std::vector<std::wstring>;

void ExpectAccepted(const char* what, bool complete, const std::vector<CtrlInfo>& listed,
                    const Texts& addresses, const Texts& messages) {
  EXPECT_EQ(Accept(listed, complete), (Outcome{addresses, messages})) << what;
}

TEST(StaticControllersTest, SaysWhyAControllerIsLeftOut) {
  const auto unknown = kVersionUnknown;
  const std::wstring controller = L"LanSeek configuration: Static controller ";
  const std::wstring invalid = L"Lanseek configuration: Static controller has invalid IP-address ";
  const std::wstring conflict = L"LanSeek configuration: IP-conflict for static controllers ";
  ExpectAccepted("an address is enough", false, {Controller(L"10.0.0.1", L"", unknown)}, {L"10.0.0.1"}, {});
  ExpectAccepted("no address", false, {Controller(L"", L"S")}, {},
                 {L"Lanseek configuration: Static controller with no IP-address found. Removed."});
  ExpectAccepted("no addresses", false,
                 {Controller(L"10.0.0.256"), Controller(L"255.255.255.255"), Controller(L"plc7")}, {},
                 {invalid + L"10.0.0.256. Removed.", invalid + L"255.255.255.255. Removed.",
                  invalid + L"plc7. Removed."});
  ExpectAccepted("the same address", false,
                 {Controller(L"10.0.0.1"), Controller(L"10.0.0.1"), Controller(L"10.0.0.2")},
                 {L"10.0.0.1", L"10.0.0.2"}, {conflict + L"10.0.0.1."});
  ExpectAccepted("incomplete", true,
                 {Controller(L"10.0.0.1", L"", unknown), Controller(L"10.0.0.2", L"S", unknown)}, {},
                 {controller + L"10.0.0.1 has invalid system ID. Removed",
                  controller + L"10.0.0.2 has invalid version info. Removed"});
  ExpectAccepted("what was left out is in nobody's way", true,
                 {Controller(L"10.0.0.1", L"", 6), Controller(L"10.0.0.1", L"A")}, {L"10.0.0.1"},
                 {controller + L"10.0.0.1 has invalid system ID. Removed"});
}

TEST(StaticControllersTest, OneSystemIsOneControllerWhereNothingWillBeAsked) {
  const std::vector<CtrlInfo> same = {Controller(L"10.0.0.1", L"S"), Controller(L"10.0.0.2", L"S")};
  const std::wstring conflict =
      L"LanSeek configuration: System ID conflict for static controllers 10.0.0.1 and 10.0.0.2. The latter "
      L"is removed";
  const std::wstring address = L"LanSeek configuration: IP-conflict for static controllers 10.0.0.1.";
  ExpectAccepted("discovery will tell", false, same, {L"10.0.0.1", L"10.0.0.2"}, {});
  ExpectAccepted("the same system", true, same, {L"10.0.0.1"}, {conflict});
  ExpectAccepted("systems differ by case", true,
                 {Controller(L"10.0.0.1", L"S"), Controller(L"10.0.0.2", L"s")}, {L"10.0.0.1", L"10.0.0.2"},
                 {});
  ExpectAccepted("the earlier conflict counts", true,
                 {Controller(L"10.0.0.1", L"A"), Controller(L"10.0.0.2", L"B"), Controller(L"10.0.0.2", L"A"),
                  Controller(L"10.0.0.1", L"B"), Controller(L"10.0.0.1", L"A")},
                 {L"10.0.0.1", L"10.0.0.2"}, {conflict, address, address});
}

}  // namespace
}  // namespace kellanseek::test
