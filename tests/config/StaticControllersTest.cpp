#include "config/StaticControllers.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <string>
#include <vector>

#include "platform/CodePage.h"
#include "platform/Ipv4.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {
namespace {

constexpr const wchar_t* kUnit = L"KelLanSeekImpl";

CtrlInfo Controller(const std::wstring& address, const std::wstring& systemID = L"",
                    std::uint32_t major = 6) {
  CtrlInfo record;
  record.ctrlAddress = address;
  record.systemID = systemID;
  record.versionMajor = major;
  return record;
}

CKelLanSeekConfigSettings Settings(bool completeInfoMode) {
  CKelLanSeekConfigSettings settings;
  if (completeInfoMode) settings.DynamicDetectionEnabled = settings.NonLocalUpdatesEnabled = 0;
  return settings;
}

struct Outcome {
  std::vector<std::wstring> addresses;
  std::vector<std::wstring> messages;
  bool operator==(const Outcome&) const = default;
};

Outcome Accept(const std::vector<CtrlInfo>& listed, bool completeInfoMode) {
  FakeDebugOutput traces;
  Outcome outcome;
  const auto accepted = config::AcceptStaticControllers(listed, Settings(completeInfoMode), {traces, kUnit});
  for (const CtrlInfo& each : accepted) outcome.addresses.push_back(each.ctrlAddress);
  outcome.messages = traces.Messages();
  return outcome;
}

/// The same by walking all accepted controllers for each.
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
    if (complete && valid && each.versionMajor == kVersionUnknown)
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

RC_GTEST_PROP(StaticControllersProperty, TheIndexesDecideAsTheWalkDoes, (bool complete)) {
  const auto controllers = rc::gen::container<std::vector<CtrlInfo>>(rc::gen::apply(
      Controller,
      rc::gen::element<std::wstring>(L"", L"10.0.0.1", L"10.0.0.2", L"10.0.0.3", L"10.0.0.03", L"x"),
      rc::gen::element<std::wstring>(L"", L"A", L"a", L"B"),
      rc::gen::element<std::uint32_t>(6, kVersionUnknown)));
  const std::vector<CtrlInfo> listed = *controllers;
  RC_ASSERT(Accept(listed, complete) == AcceptByWalking(listed, complete));
}

}  // namespace
}  // namespace kellanseek::test
