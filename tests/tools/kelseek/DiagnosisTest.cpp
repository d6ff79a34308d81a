#include "doctor/Diagnosis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace kellanseek::kelseek {
namespace {

using Codes = std::vector<std::string>;

/// What the doctor sees of a healthy host with one controller.
Facts Healthy() {
  Facts facts;
  facts.report = nlohmann::json::parse(R"({
    "version": "1.0.0",
    "configuration": {"directory": null, "interfaceMode": "all",
                      "settingsFile": {"state": "noDirectory"}, "controllersFile": {"state": "noDirectory"},
                      "settings": {"RequestPort": {"value": 5512}, "ResponsePort": {"value": 5513},
                                   "NonLocalPort": {"value": 5514}, "DynamicDetectionEnabled": {"value": 1}}},
    "interfaces": [{"name": "lo", "address": "127.0.0.1", "mask": "255.0.0.0", "used": false, "why": "loopback"},
                   {"name": "eth0", "index": 2, "address": "10.1.0.1", "mask": "255.255.255.0", "used": true, "carrier": true}],
    "threads": [{"name": "KelRefresh", "started": true}],
    "received": {"dropped": {}, "lastMalformed": null}, "sent": {"errors": []}, "longestTickDelayMs": 12,
    "table": {"dynamic": 1, "dynamicLimit": 65536}, "collisions": [],
    "controllers": [{"id": 11, "name": "cell", "address": "10.1.0.11", "systemId": "S1", "mac": "M1",
                     "way": "broadcast", "listed": true, "unanswered": 0}]})");
  return facts;
}

/// Makes one of the facts this.
template <typename Value>
std::function<void(Facts&)> With(Value Facts::*fact, std::type_identity_t<Value> value) {
  return [fact, value](Facts& facts) { facts.*fact = value; };
}

/// The codes of the remarks and faults.
Codes Trouble(const Facts& facts) {
  Codes codes;
  for (const Finding& each : Diagnose(facts)) {
    if (each.mark == Mark::Fine) continue;
    codes.push_back(each.code);
    EXPECT_FALSE(each.seen.empty()) << each.code;
    EXPECT_FALSE(each.todo.empty()) << each.code;
  }
  return codes;
}

TEST(DiagnosisTest, WhatTheHostAndItsFilesSayIsNamed) {
  const std::string outOfFiles = platform::IsOutOfFiles(24) ? "24" : "10024";  // here and on Windows
  using Answer = platform::HostFirewall::Answer;
  const auto patched = [](const char* pointer, const char* value) {
    return [=](Facts& facts) {
      facts.report[nlohmann::json::json_pointer(pointer)] = nlohmann::json::parse(value);
    };
  };
  const struct {
    std::function<void(Facts&)> spoil;
    Codes expected;
  } cases[] = {
      {[](Facts&) {}, {}},
      {patched("/interfaces/1/pointToPoint", "true"), {"single-host"}},
      {patched("/threads/0", R"({"name": "KelRefresh", "started": false, "error": "none left"})"),
       {"threads"}},
      {patched("/longestTickDelayMs", "2001"), {"late-ticks"}},
      {patched("/controllers/0/unanswered", "2"), {"unanswered"}},
      {patched("/configuration/settings", "{}"), {}},
      {With(&Facts::expected, {platform::ParseIpv4("10.1.0.11")}), {}},
      {With(&Facts::registry, {"/home/x", ""}), {}},
      {With(&Facts::resources, {240, 256, 9, 0}), {}},
      {With(&Facts::resources, {241, 256, 9, 0}), {"few-descriptors"}},
      {With(&Facts::resources, {256, 256, 9, 0}), {"descriptors"}},
      {[](Facts& facts) {
         facts.report["interfaces"].clear();
         facts.resources = {241, 256, 9, 0};
       },
       {"descriptors"}},
      {[&](Facts& facts) { facts.report["polling"]["refused"]["error"] = std::stoi(outOfFiles); },
       {"descriptors"}},
      {[&](Facts& facts) {
         facts.report["interfaces"].push_back(nlohmann::json::parse(
             R"({"name": "eth1", "used": false, "why": "refused", "refused": {"port": 5513, "error": )" +
             outOfFiles + "}}"));
       },
       {"descriptors"}},
      {With(&Facts::firewall, {Answer::Yes, Answer::Yes, Answer::Yes}), {}},
      {With(&Facts::firewall, {Answer::Yes, Answer::Yes, Answer::No}), {"firewall-in", "public-network"}},
      {With(&Facts::firewall, {Answer::No, Answer::Yes, Answer::No}), {"firewall-in"}},
      {[](Facts& facts) { facts.wire.whyNot = "forbidden"; }, {}},
      {[](Facts& facts) {
         facts.wire.whyNot = "forbidden";
         facts.report["controllers"].clear();
       },
       {"none-found", "not-watched"}},
  };
  for (const auto& one : cases) {
    Facts facts = Healthy();
    one.spoil(facts);
    EXPECT_EQ(Trouble(facts), one.expected) << facts.report;
  }
}

TEST(DiagnosisTest, AFaultOfOneNetworkExplainsWhatIsMissingThereOnly) {
  Facts facts = Healthy();
  facts.report["controllers"].clear();
  facts.report["interfaces"].push_back({{"name", "eth1"},
                                        {"address", "10.2.0.1"},
                                        {"mask", "255.255.255.0"},
                                        {"used", false},
                                        {"why", "refused"},
                                        {"refused", {{"port", 5512}, {"error", 98}}}});
  facts.expected = {platform::ParseIpv4("10.1.0.11"), platform::ParseIpv4("10.2.0.11")};
  const auto said = [&](std::string_view code, Mark mark, std::string_view words) {
    const Findings findings = Diagnose(facts);
    return std::count_if(findings.begin(), findings.end(), [&](const Finding& each) {
      return each.code == code && each.mark == mark &&
             (each.what + each.todo).find(words) != std::string::npos;
    });
  };
  EXPECT_EQ(said("none-found", Mark::Fault, "switched on"), 1);
  EXPECT_EQ(said("expected-missing", Mark::Fault, "10.1.0.11 was not found"), 1);
  EXPECT_EQ(said("expected-missing", Mark::Fault, "10.2.0.11 is not in the list, as"), 1);
  EXPECT_EQ(LikelyCause(facts.report), "The system refuses a socket for eth1 (10.2.0.1).");
  facts.report["interfaces"][1]["carrier"] = false;
  EXPECT_EQ(said("none-found", Mark::Remark, "refuses a socket for eth1"), 1) << "now both are cut off";
  facts.report["interfaces"][1]["carrier"] = true;
  facts.firewall.letsIn = platform::HostFirewall::Answer::No;
  EXPECT_EQ(said("none-found", Mark::Remark, "firewall"), 1);
  EXPECT_EQ(said("expected-missing", Mark::Fault, "as the faults above explain"), 2);
}

TEST(DiagnosisTest, AnInterfaceThatIsNotConnectedIsNoCauseBesideOneThatIs) {
  Facts facts = Healthy();
  facts.report["controllers"].clear();
  const nlohmann::json spare = {{"name", "spare"},
                                {"address", "172.17.0.1"},
                                {"mask", "255.255.0.0"},
                                {"used", true},
                                {"carrier", false}};
  nlohmann::json& interfaces = facts.report["interfaces"];
  interfaces.insert(interfaces.begin(), spare);
  EXPECT_EQ(LikelyCause(facts.report, {}), "");
  Echo echo{platform::ParseIpv4("10.1.0.1"), 5512, Echo::Outcome::NotHeard};
  const auto blamed = [&] {
    facts.echoes = {echo};
    for (const Finding& each : Diagnose(facts))
      if (each.code == "none-found") return each.mark == Mark::Remark ? each.todo : std::string();
    return std::string("found");
  };
  EXPECT_NE(blamed().find("firewall"), std::string::npos) << "no other guess, though answers come to 5513";
  echo.port = 5513;
  EXPECT_NE(blamed().find("firewall"), std::string::npos);
  EXPECT_NE(LikelyCause(facts.report, {echo}).find("firewall"), std::string::npos);
  facts.report["interfaces"][2]["pointToPoint"] = true;
  echo.outcome = Echo::Outcome::Heard;
  EXPECT_EQ(blamed(), "") << "a tunnel is a connection, too";
  facts.expected = {platform::ParseIpv4("10.1.0.11")};
  const Findings findings = Diagnose(facts);
  EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const Finding& each) {
    return each.todo.find("kelseek add --save 10.1.0.11") != std::string::npos;
  }));
  facts.report["interfaces"].erase(2);
  EXPECT_NE(blamed().find("spare"), std::string::npos);
}

TEST(DiagnosisTest, MembersOfAnotherTypeDoNoHarm) {
  const nlohmann::json whole = Healthy().report.flatten();
  for (const auto& member : whole.items()) {
    for (auto pointer = nlohmann::json::json_pointer(member.key()); !pointer.empty();
         pointer = pointer.parent_pointer()) {
      for (const nlohmann::json& odd :
           {nlohmann::json(), nlohmann::json(7), nlohmann::json("text"), nlohmann::json(true),
            nlohmann::json::array({1, "x"}), nlohmann::json({{"name", 1}, {"used", "yes"}})}) {
        Facts facts = Healthy();
        facts.report[pointer] = odd;
        EXPECT_FALSE(Diagnose(facts).empty()) << pointer << ": " << odd;
      }
    }
  }
}

TEST(DiagnosisTest, SlowAndLostAnswersAreNamed) {
  using std::chrono::milliseconds;
  const struct {
    unsigned answered;
    int median;
    Codes expected;
  } cases[] = {{4, 1500, {}},
               {3, 100, {"lossy"}},
               {5, 1501, {"slow"}},
               {1, 2000, {"lossy", "slow"}},
               {0, 0, {"no-direct-answer"}}};
  for (const auto& one : cases) {
    Facts facts = Healthy();
    facts.answers.each = {{"cell", 0, 5, one.answered, milliseconds(one.median), milliseconds(2900)}};
    EXPECT_EQ(Trouble(facts), one.expected) << one.answered;
  }
}

TEST(DiagnosisTest, WhatTheWireShowsIsNamed) {
  const struct {
    const char* source;
    const char* destination;
    const char* systemId;
    bool isComplete;
    Codes expected;
  } cases[] = {
      {"10.1.0.11", "10.1.0.255", "S1", true, {}},
      {"10.1.0.12", "10.1.0.255", "S2", false, {}},
      {"10.1.0.12", "10.1.0.255", "S2", true, {"firewall-in"}},
      {"10.1.0.12", "10.1.0.1", "S2", true, {"firewall-in"}},
      {"10.1.0.12", "255.255.255.255", "S2", true, {"firewall-in"}},
      {"10.1.0.12", "10.1.0.127", "S2", true, {"wrong-mask"}},
      {"10.1.7.12", "10.1.255.255", "S2", true, {"wrong-mask"}},
      {"10.1.7.12", "10.1.7.255", "S2", true, {"wrong-mask"}},  // 255.255.248.0 has both
      {"10.1.8.12", "10.1.8.255", "S2", true, {"foreign-controller"}},
      {"192.168.0.9", "255.255.255.255", "S2", true, {"foreign-controller"}},
      {"10.9.0.12", "10.1.0.1", "S2", true, {}},                  // through a router
      {"10.2.0.12", "10.2.0.255", "S2", true, {"other-subnet"}},  // of another network of this host
      {"10.2.0.12", "10.1.0.1", "S2", true, {}},
  };
  for (const auto& one : cases) {
    Facts facts = Healthy();
    facts.report["interfaces"].push_back(nlohmann::json::parse(
        R"({"name": "eth1", "index": 3, "address": "10.2.0.1", "mask": "255.255.255.0", "used": true})"));
    facts.wire.sightings = {{2, platform::ParseIpv4(one.source), platform::ParseIpv4(one.destination),
                             one.systemId, one.isComplete, 1}};
    facts.wire.sightings.push_back(facts.wire.sightings[0]);  // named once
    EXPECT_EQ(Trouble(facts), one.expected) << one.source << " to " << one.destination;
    facts.report["received"]["dropped"]["bySystem"] = 1;
    const Codes lossy = Trouble(facts);
    EXPECT_EQ(std::count(lossy.begin(), lossy.end(), "firewall-in"), 0) << "it may be one of those lost";
  }
}

TEST(DiagnosisTest, HelloTellsTheDirections) {
  const struct {
    bool byBroadcast, byAddress, hasHeardUs;
    Codes expected;
  } cases[] = {{true, true, true, {}},
               {true, false, true, {"hello-not-by-address"}},
               {false, false, false, {"hello-silent"}}};
  for (const auto& one : cases) {
    Facts facts = Healthy();
    facts.saidHello = true;
    facts.hello = {{platform::ParseIpv4("10.1.0.1"),
                    true,
                    {{platform::ParseIpv4("10.1.0.5"), "", one.byBroadcast, one.byAddress, one.hasHeardUs}}}};
    EXPECT_EQ(Trouble(facts), one.expected);
    facts.hello[0].address = 0;  // behind a router, where no broadcast goes
    EXPECT_EQ(Trouble(facts), one.byAddress || one.byBroadcast ? Codes{} : one.expected);
  }
}

}  // namespace
}  // namespace kellanseek::kelseek
