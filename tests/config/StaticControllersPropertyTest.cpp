#include "config/StaticControllers.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

#include "platform/CodePage.h"
#include "platform/Ipv4.h"
#include "tests/config/AcceptedControllers.h"

namespace kellanseek::test {
namespace {

using controllers::CtrlInfo;

/// Reference implementation: compares each controller with all accepted ones.
Outcome AcceptByWalking(const std::vector<CtrlInfo>& listed, bool complete) {
  std::vector<CtrlInfo> table;
  Outcome outcome;
  for (const CtrlInfo& each : listed) {
    bool valid = true;
    const auto reject = [&](const std::wstring& message) {
      outcome.messages.push_back(message);
      valid = false;
    };
    const std::wstring& address = each.ctrlAddress;
    const std::wstring named = L"LanSeek configuration: Static controller " + address;
    if (address.empty()) {
      reject(L"Lanseek configuration: Static controller with no IP-address found. Removed.");
    } else if (platform::ParseIpv4(std::wstring_view(address)) == platform::kNoAddress) {
      reject(L"Lanseek configuration: Static controller has invalid IP-address " + address + L". Removed.");
    }
    if (complete && valid && each.systemID.empty()) reject(named + L" has invalid system ID. Removed");
    if (complete && valid && each.versionMajor == controllers::kVersionUnknown)
      reject(named + L" has invalid version info. Removed");
    for (auto record = table.begin(); valid && record != table.end(); ++record) {
      if (platform::LocaleEqual(record->ctrlAddress, address)) {
        reject(L"LanSeek configuration: IP-conflict for static controllers " + address + L".");
      } else if (complete && platform::LocaleEqual(record->systemID, each.systemID)) {
        reject(L"LanSeek configuration: System ID conflict for static controllers " + record->ctrlAddress +
               L" and " + address + L". The latter is removed");
      }
    }
    if (valid) table.push_back(each);
  }
  for (const CtrlInfo& each : table) outcome.addresses.push_back(each.ctrlAddress);
  return outcome;
}

RC_GTEST_PROP(StaticControllersProperty, IndexedChecksMatchAPlainWalk, (bool complete)) {
  const auto controllers = rc::gen::container<std::vector<CtrlInfo>>(
      rc::gen::apply(Controller,
                     rc::gen::element<std::wstring>(L"", L"10.0.0.1", L"10.0.0.2", L"10.0.0.3", L"10.0.0.03",
                                                    L"x", L"255.255.255.255"),
                     rc::gen::element<std::wstring>(L"", L"A", L"a", L"B"),
                     rc::gen::element<std::uint32_t>(6, controllers::kVersionUnknown)));
  const std::vector<CtrlInfo> listed = *controllers;
  RC_ASSERT(Accept(listed, complete) == AcceptByWalking(listed, complete));
}

}  // namespace
}  // namespace kellanseek::test
