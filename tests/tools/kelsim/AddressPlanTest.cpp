#include "tools/kelsim/AddressPlan.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace kellanseek::kelsim {
namespace {

using platform::ParseIpv4;

std::vector<std::string> Texts(const std::vector<platform::Ipv4>& addresses) {
  std::vector<std::string> texts;
  for (const platform::Ipv4 address : addresses) texts.push_back(platform::FormatIpv4(address));
  return texts;
}

TEST(AddressPlan, WrapsAroundTheSubnetAfterTheOwnAddress) {
  struct Case {
    const char *own, *mask;
    std::uint32_t skipped, count;
    std::vector<std::string> expected;  ///< Empty: must be refused.
  };
  const Case cases[] = {
      {"10.1.0.253", "255.255.255.0", 0, 3, {"10.1.0.254", "10.1.0.1", "10.1.0.2"}},
      {"10.1.0.255", "255.255.0.0", 0, 2, {"10.1.1.0", "10.1.1.1"}},
      {"10.1.0.6", "255.255.255.248", 0, 5, {"10.1.0.1", "10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5"}},
      {"10.1.0.1", "255.255.255.252", 0, 1, {"10.1.0.2"}},
      {"200.1.0.9", "0.0.0.0", 0x80000000U, 1, {"72.1.0.12"}},
      {"10.1.0.6", "255.255.255.248", 0, 6, {}},
      {"10.1.0.6", "255.255.255.0", 0xFFFFFFFFU, 1, {}},
      {"10.1.0.1", "255.255.255.254", 0, 1, {}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.own << '/' << one.mask << " +" << one.skipped << " x"
                                    << one.count);
    const auto plan = [&] {
      return AddressesInSubnet(ParseIpv4(one.own), ParseIpv4(one.mask), one.skipped, one.count);
    };
    if (one.expected.empty()) {
      EXPECT_THROW(plan(), std::invalid_argument);
    } else {
      EXPECT_EQ(Texts(plan()), one.expected);
    }
  }
}

}  // namespace
}  // namespace kellanseek::kelsim
