#include "doctor/Diagnosis.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace kellanseek::kelseek {
namespace {

using platform::NeighbourState;
using platform::Reply;
using platform::Route;
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

TEST(DiagnosisTest, EveryCauseIsNamed) {
  EXPECT_EQ(Trouble(Healthy()), Codes{});
  const auto patched = [](const char* pointer, const char* value) {
    return [=](Facts& facts) {
      facts.report[nlohmann::json::json_pointer(pointer)] = nlohmann::json::parse(value);
    };
  };
  const struct {
    std::function<void(Facts&)> spoil;
    Codes expected;
  } cases[] = {
      {patched("/interfaces/1", R"({"name": "eth0", "used": false, "why": "down"})"),
       {"interface-down", "no-interface"}},
      {patched("/interfaces/1/carrier", "false"), {"no-carrier"}},
      {patched("/interfaces/1/mask", R"("255.255.255.255")"), {"single-host"}},
      {patched("/interfaces/1/pointToPoint", "true"), {"single-host"}},
      {patched("/interfaces/2", R"({"name": "eth1", "used": false, "why": "onlyIpv6"})"), {"no-ipv4"}},
      {patched("/interfaces/2", R"({"name": "eth1", "used": false, "why": "notListed"})"),
       {"interface-excluded"}},
      {patched("/interfaces/2", R"({"name": "eth1", "address": "10.2.0.1", "used": false, "why": "refused",
                                    "refused": {"step": "bind", "port": 5513, "error": 98}})"),
       {"socket-refused"}},
      {patched("/threads/0", R"({"name": "KelRefresh", "started": false, "error": "none left"})"),
       {"threads"}},
      {patched("/sent/errors", R"([{"code": 101, "count": 3, "lastDestination": "10.1.0.255"}])"),
       {"send-errors"}},
      {patched("/configuration/settingsFile", R"({"state": "refused", "path": "/x", "remark": "no XML"})"),
       {"config-refused"}},
      {patched("/received/dropped/bySystem", "1"), {"receive-buffer"}},
      {patched("/received/dropped/otherSubnet", "1"), {"other-subnet"}},
      {patched("/received/dropped/malformed", "1"), {"malformed"}},
      {patched("/received/dropped/tableFull", "1"), {"table-full"}},
      {[](Facts& facts) {
         facts.arrivals = {2000, 2};
       },
       {"table-fills"}},
      {[](Facts& facts) {
         facts.sharedMacs = {{"m", "a", "b"}};
       },
       {"collision"}},
      {patched("/longestTickDelayMs", "2001"), {"late-ticks"}},
      {patched("/controllers/0/unanswered", "2"), {"unanswered"}},
      {patched("/controllers", "[]"), {"none-found"}},
      {patched("/collisions", R"([{"kind": "address", "known": {"name": "a"}, "heard": {"name": "b"}}])"),
       {"collision"}},
      {With(&Facts::echoes, {{0, 5513, Echo::Outcome::NotHeard, 0}}), {"firewall-in"}},
      {With(&Facts::echoes, {{0, 5512, Echo::Outcome::NotSent, 1}}), {"firewall-out"}},
      {With(&Facts::configFindings, {"x:1: unknown element"}), {"config"}},
      {With(&Facts::host, platform::HostKind::Container), {"container"}},
      {With(&Facts::expected, {platform::ParseIpv4("10.1.0.12")}), {"expected-missing"}},
      {With(&Facts::expected, {platform::ParseIpv4("10.2.0.12")}), {"other-network"}},
      {With(&Facts::expected, {platform::ParseIpv4("10.1.0.11")}), {}},
  };
  for (const auto& one : cases) {
    Facts facts = Healthy();
    one.spoil(facts);
    EXPECT_EQ(Trouble(facts), one.expected) << facts.report;
  }
}

TEST(DiagnosisTest, WhatStandsBetweenThisHostAndAnAddressIsNamed) {
  const auto facts = [](Route::Kind route, Reply::Kind reply, NeighbourState neighbour) {
    AddressFacts asked;
    asked.address = platform::ParseIpv4("10.9.0.1");
    asked.route.kind = route;
    asked.reply.kind = reply;
    asked.neighbour = neighbour;
    return asked;
  };
  const auto answer = [&](const char* address, bool message, const char* systemId, const char* mac) {
    AddressFacts asked = facts(Route::Kind::OnLink, Reply::Kind::Answer, NeighbourState::Answered);
    asked.address = platform::ParseIpv4(address);
    asked.isDiscoveryMessage = message;
    asked.systemId = systemId;
    asked.mac = mac;
    return asked;
  };
  const struct {
    AddressFacts asked;
    Codes expected;
  } cases[] = {
      {facts(Route::Kind::None, Reply::Kind::HostUnreachable, {}), {"no-route"}},
      {facts(Route::Kind::Prohibited, Reply::Kind::SendRefused, {}), {"route-prohibited"}},
      {facts(Route::Kind::OnLink, Reply::Kind::SendRefused, {}), {"firewall-out"}},
      {facts(Route::Kind::OnLink, Reply::Kind::PortClosed, {}), {"port-closed"}},
      {facts(Route::Kind::OnLink, Reply::Kind::HostUnreachable, {}), {"host-down"}},
      {facts(Route::Kind::OnLink, Reply::Kind::Silent, NeighbourState::Silent), {"host-down"}},
      {facts(Route::Kind::OnLink, Reply::Kind::Silent, NeighbourState::Answered), {"firewall-there"}},
      {facts(Route::Kind::Gateway, Reply::Kind::Silent, NeighbourState::Unknown), {"no-answer"}},
      {facts(Route::Kind::Gateway, Reply::Kind::HostUnreachable, NeighbourState::Unknown), {"unreachable"}},
      {answer("10.1.0.12", false, "", ""), {"strange-answer"}},
      {answer("10.1.0.12", true, "S2", ""), {"incomplete"}},
      {answer("10.1.0.12", true, "S1", "M2"), {"collision"}},
      {answer("10.1.0.12", true, "S2", "M1"), {"collision"}},
      {answer("10.1.0.12", true, "S2", "M2"), {"broadcast-lost"}},
      {answer("10.1.0.12", true, "S1", "M1"), {"second-address"}},
      {answer("10.1.0.11", true, "S1", "M1"), {}},
      {answer("10.9.0.1", true, "S2", "M2"), {}},
  };
  for (const auto& one : cases) {
    Facts all = Healthy();
    all.asked = {one.asked};
    EXPECT_EQ(Trouble(all), one.expected);
  }
}

TEST(DiagnosisTest, WhatTheHostAndItsFilesSayIsNamed) {
  const std::string outOfFiles = platform::IsOutOfFiles(24) ? "24" : "10024";  // here and on Windows
  using Answer = platform::HostFirewall::Answer;
  const auto ports = [](int request, int response, int poll) {
    return [=](Facts& facts) {
      nlohmann::json& settings = facts.report["configuration"]["settings"];
      settings["RequestPort"]["value"] = request;
      settings["ResponsePort"]["value"] = response;
      settings["NonLocalPort"]["value"] = poll;
    };
  };
  const struct {
    std::function<void(Facts&)> spoil;
    Codes expected;
  } cases[] = {
      {ports(5513, 5512, 5514), {"ports-swapped"}},
      {ports(5512, 5512, 5514), {"ports-same"}},
      {ports(5512, 5513, 6000), {"ports-changed"}},
      {[](Facts& facts) { facts.report["configuration"]["settings"].clear(); }, {}},
      {[](Facts& facts) {
         facts.configUnreadable = true;
         facts.report["configuration"]["directory"] = "/x";
       },
       {"config-unreadable"}},
      {With(&Facts::registry, {"/home/x", ""}), {}},
      {With(&Facts::registry, {"/home/x", "/etc/x"}), {"registry-other"}},
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

TEST(DiagnosisTest, SlowAndLostAnswersAreNamedWithFigures) {
  using std::chrono::milliseconds;
  const struct {
    unsigned answered;
    int median;
    Codes expected;
  } cases[] = {{5, 1500, {}},
               {4, 100, {}},
               {3, 100, {"lossy"}},
               {5, 1501, {"slow"}},
               {1, 2000, {"lossy", "slow"}},
               {0, 0, {"no-direct-answer"}}};
  for (const auto& one : cases) {
    Facts facts = Healthy();
    facts.answers.each = {{"cell", 0, 5, one.answered, milliseconds(one.median), milliseconds(2900)}};
    EXPECT_EQ(Trouble(facts), one.expected) << one.answered;
    for (const Finding& each : Diagnose(facts)) {
      if (each.code != "lossy") continue;
      EXPECT_NE(each.seen.find(std::to_string(one.answered) + " of 5"), std::string::npos);
    }
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
    facts.wire.isWatched = true;
    facts.wire.sightings = {{2, platform::ParseIpv4(one.source), platform::ParseIpv4(one.destination),
                             one.systemId, one.isComplete, 1}};
    facts.wire.sightings.push_back(facts.wire.sightings[0]);  // named once
    EXPECT_EQ(Trouble(facts), one.expected) << one.source << " to " << one.destination;
  }
}

TEST(DiagnosisTest, HelloTellsTheDirections) {
  const struct {
    bool byBroadcast, byAddress, hasHeardUs;
    Codes expected;
  } cases[] = {{true, true, true, {}},
               {true, false, true, {"hello-not-by-address"}},
               {true, true, false, {"hello-not-there"}},
               {false, true, true, {"hello-not-back"}},
               {false, true, false, {"hello-only-by-address"}},
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
    facts.hello[0] = {platform::ParseIpv4("10.1.0.1"), true, {}};
    EXPECT_EQ(Trouble(facts), Codes{"hello-nobody"});
  }
}

TEST(DiagnosisTest, AHolderOfAPortIsNamed) {
  Facts facts = Healthy();
  facts.report["interfaces"].push_back(nlohmann::json::parse(
      R"({"name": "eth1", "used": false, "why": "refused", "refused": {"port": 5513, "error": 98}})"));
  facts.ports = {{5512, {}}, {5513, {{0, 42, "other"}}}};
  EXPECT_EQ(Trouble(facts), Codes{"port-held"});
  EXPECT_EQ(LikelyCause(facts.report), "The system refuses a socket for eth1.");
}

}  // namespace
}  // namespace kellanseek::kelseek
