#include "client/Selection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "client/ScanSchedule.h"
#include "client/Session.h"
#include "client/StaticFile.h"
#include "tests/support/ScratchDirectory.h"
#include "tests/tools/kelseek/Named.h"

namespace kellanseek::kelseek {
namespace {

using client::Availability;
using client::Controller;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// Four controllers, in the order in which they became known, and a report of where they were heard.
std::vector<Controller> Plant() {
  std::vector<Controller> plant = {Named(11, "Press 2"), Named(12, "press 1"), Named(13, "robot"),
                                   Named(14, "Saw")};
  const char* const addresses[] = {"10.1.0.9", "10.1.0.10", "/virtual/robot", "10.2.0.1"};
  for (std::size_t i = 0; i < plant.size(); ++i) {
    plant[i].address = addresses[i];
    plant[i].identity = "{5A-" + std::to_string(i + 1) + "}";
  }
  plant[0].version = client::Version{6, 10, 2};
  plant[1].version = client::Version{6, 9, 12};
  plant[2].kind = client::Kind::VC;
  plant[3].availability = Availability::Unavailable;
  plant[3].host_name = "saw.plant";
  return plant;
}
const char* const kReport = R"({"interfaces": [{"name": "eth0", "index": 2, "address": "10.1.0.1"},
    {"name": "eth1", "index": 3, "address": "10.2.0.99"}, {"name": "eth1", "index": 3, "address": "10.3.0.99"},
    {"name": "eth2", "index": 4}],
  "controllers": [{"id": 11, "interface": "10.1.0.1"}, {"id": 12, "interface": "10.1.0.1"},
    {"id": 13, "interface": null}, {"id": 14, "interface": "10.2.0.99"}]})";

/// The ids of the plant's chosen controllers, such as "11 14", or the error.
std::string Chosen(const SelectionOptions& options) try {
  Selection selection(options);
  if (selection.NeedsReport()) selection.Learn(nlohmann::json::parse(kReport));
  std::vector<Controller> plant = Plant();
  std::erase_if(plant, [&](const Controller& each) { return !selection.Matches(each); });
  selection.Sort(plant);
  std::string ids;
  for (const Controller& each : plant) ids += (ids.empty() ? "" : " ") + std::to_string(each.id);
  return ids;
} catch (const CommandError& error) {
  EXPECT_EQ(kWrongUse, error.Code());
  return error.what();
}

TEST(Selection, FiltersByEveryKey) {
  const struct {
    std::vector<std::string> filters;
    std::string expected;
  } cases[] = {
      {{}, "11 12 13 14"},
      {{"name=press*"}, "11 12"},
      {{"name=press*", "address=*.9"}, "11"},
      {{"kind=vc"}, "13"},
      {{"kind=RC", "status=available"}, "11 12"},
      {{"status=unavailable"}, "14"},
      {{"host=saw.*"}, "14"},
      {{"identity={5a-?}", "network=10.1.0.0/16"}, "11 12"},
      {{"network=10.2.0.1"}, "14"},
      {{"interface=eth0"}, "11 12"},
      {{"interface=10.2.0.99"}, "14"},
      {{"interface=3"}, "14"},
      {{"interface=eth2"}, ""},
      {{"interface=eth0", "interface=eth1"}, ""},
      {{"colour=red"},
       "--filter knows no key \"colour\"; there are kind, name, host, address, identity, network, "
       "status or interface"},
      {{"name"}, "--filter takes KEY=PATTERN, such as name=press*, not \"name\""},
      {{"name="}, "--filter takes KEY=PATTERN, such as name=press*, not \"name=\""},
      {{"kind=robot\x1b"}, "--filter kind takes RC, VC or RemoteVC, not \"robot\\u001b\""},
      {{"status=off"}, "--filter status takes available, unavailable, removed or never-heard, not \"off\""},
      {{"network=10.1"}, "--filter network: \"10.1\" is not a network like 10.1.0.0/16"},
      {{"interface=eth7"},
       "this host has no interface \"eth7\"; there are eth0 (10.1.0.1), eth1 (10.2.0.99), eth1 "
       "(10.3.0.99) or eth2"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.expected, Chosen({one.filters, "", "", {}}));
  EXPECT_EQ("14", Chosen({{"status=unavailable"}, "eth1", "", {}}));
  const Controller silent = Plant()[3];
  EXPECT_TRUE(Selection({{"status=never-heard", "name=saw"}, "", "", {}}).Matches(silent, true));
  EXPECT_FALSE(Selection({{"status=never-heard"}, "", "", {}}).Matches(silent));
  EXPECT_FALSE(Selection({{"status=unavailable"}, "", "", {}}).Matches(silent, true));
}

TEST(Selection, SortsByEveryColumn) {
  const struct {
    std::string column;
    std::string expected;
  } cases[] = {
      {"", "11 12 13 14"},        {"name", "12 11 13 14"},     {"-name", "14 13 11 12"},
      {"address", "11 12 14 13"}, {"-address", "13 14 12 11"}, {"version", "14 13 12 11"},
      {"kind", "11 12 14 13"},    {"-kind", "13 11 12 14"},    {"status", "11 12 13 14"},
      {"host", "11 12 13 14"},    {"-host", "14 11 12 13"},    {"identity", "11 12 13 14"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.expected, Chosen({{}, "", one.column, {}})) << one.column;
  EXPECT_THAT(Chosen({{}, "", "-size", {}}),
              StartsWith("--sort knows no column \"size\"; there are name, address"));
}

TEST(StaticFile, KeepsEverythingElse) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
  const struct {
    std::string before;
    std::string expected;  ///< "@" is the entry; nothing: refused.
  } cases[] = {
      {head + "\n<ControllerIdentities>\n</ControllerIdentities>\n<!-- </ControllerIdentities> -->\n",
       head + "\n<ControllerIdentities>\n@</ControllerIdentities>\n<!-- </ControllerIdentities> -->\n"},
      {head + "<ControllerIdentities><!-- kept --></ControllerIdentities >",
       head + "<ControllerIdentities><!-- kept -->\n@</ControllerIdentities >"},
      {head + "\n<ControllerIdentities>\n\t</ControllerIdentities>",
       head + "\n<ControllerIdentities>\n@\t</ControllerIdentities>"},
      {head + "<ControllerIdentities a='>'/><!---->",
       head + "<ControllerIdentities a='>'>\n@</ControllerIdentities><!---->"},
      {head + "<!-- <ControllerIdentities/> --><Other></Other>", ""},
      {head + "<ControllerIdentitiesX/>", ""},
      {head + "<!-- </ControllerIdentities>", ""},
  };
  Controller controller = Named(11, "<S\u00fc & \u30bb>");
  controller.release_path = "\x1b[31m";
  const std::string entry =
      "  <ControllerIdentity>\n    <ControllerName>&#x3C;S\xfc &#x26; &#x30BB;&#x3E;</ControllerName>\n"
      "    <ControllerLocAddr>10.1.0.11</ControllerLocAddr>\n    <SystemIdentity>{5A}</SystemIdentity>\n"
      "    <ControllerLevel>SystemLevel</ControllerLevel>\n  </ControllerIdentity>\n";
  for (const auto& one : cases) {
    std::string expected = one.expected;
    if (const std::size_t at = expected.find('@'); at != std::string::npos) expected.replace(at, 1, entry);
    EXPECT_EQ(expected, WithController(one.before, controller).value_or("")) << one.before;
  }
}

TEST(StaticFile, HoldsEachAddressOnce) {
  const test::ScratchDirectory scratch;
  const std::wstring directory = scratch.Wide() + L"/new";
  Controller first = Named(11, "S\u00fc");
  first.version = client::Version{6, 10, 2};
  Controller second = Named(12, "\u30bb");
  second.address = "10.1.0.12";
  EXPECT_FALSE(SaveController(directory, first).wasThere);
  EXPECT_FALSE(SaveController(directory, second).wasThere);
  EXPECT_TRUE(SaveController(directory, first).wasThere);
  EXPECT_THAT(scratch.Read("new/controllerid.xml"), HasSubstr("<ControllerName>S\xfc</ControllerName>"));
  // A file that the component refuses stays as it is.
  scratch.Write("new/controllerid.xml", "<ControllerIdentities/>");
  EXPECT_THROW(SaveController(directory, first), CommandError);
  EXPECT_EQ("<ControllerIdentities/>", scratch.Read("new/controllerid.xml"));
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(scratch.File("new")), {}));
}

TEST(StaticFile, SavingAtTheSameTimeLosesNothing) {
  const test::ScratchDirectory scratch;
  const auto save = [&scratch](int number) {
    Controller controller = Named(11, "cell");
    controller.address = "10.1.0." + std::to_string(number);
    return SaveController(scratch.Wide(), controller).wasThere;
  };
  std::vector<std::future<bool>> running;
  for (int number = 1; number <= 8; ++number) running.push_back(std::async(std::launch::async, save, number));
  for (auto& each : running) EXPECT_FALSE(each.get());
  for (int number = 1; number <= 8; ++number) EXPECT_TRUE(save(number)) << number;
}

/// The first address, the last and their number, or the error.
std::string Range(const std::string& network, bool large = false) try {
  const ScanRange range = ReadScanRange(network, large);
  ScanSchedule schedule(range, 1);
  const std::string first = platform::FormatIpv4(schedule.Next());
  return first + " " + platform::FormatIpv4(platform::NetworkOrder(range.last)) + " " +
         std::to_string(range.Size());
} catch (const CommandError& error) {
  return error.what();
}

TEST(Scan, KnowsTheHostsOfANetwork) {
  const struct {
    std::string network;
    std::string expected;
  } cases[] = {
      {"10.1.0.77/28", "10.1.0.65 10.1.0.78 14"},
      {"10.1.0.4/30", "10.1.0.5 10.1.0.6 2"},
      {"10.1.0.4/31", "10.1.0.4 10.1.0.5 2"},
      {"10.1.0.4/32", "10.1.0.4 10.1.0.4 1"},
      {"10.1.0.4", "10.1.0.4 10.1.0.4 1"},
      {"172.16.0.0/16", "172.16.0.1 172.16.255.254 65534"},
      {"172.16.0.0/15",
       "\"172.16.0.0/15\" has 131072 addresses, more than a /16; ask for parts of it, or say --yes"},
      {"10.0.0.0/7", "\"10.0.0.0/7\" is too large; /8 is the most that is possible"},
      {"224.0.0.0/24", "\"224.0.0.0/24\" has no addresses of single hosts"},
      {"0.1.0.0/24", "\"0.1.0.0/24\" has no addresses of single hosts"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.expected, Range(one.network));
  EXPECT_EQ("10.0.0.1 10.255.255.254 16777214", Range("10.0.0.0/8", true));
  for (const char* const text :
       {"", "10.1.0", "10.1.0.0/", "10.1.0.0/33", "10.1.0.256", "10.1.0.0/24x", "a.b.c.d"})
    EXPECT_THAT(Range(text), EndsWith(" is not a network like 10.1.0.0/24")) << text;
}

TEST(Scan, AsksAtASteadyRateAndMakesUpForALittleOnly) {
  using std::chrono::milliseconds;
  ScanSchedule schedule(ReadScanRange("10.1.0.0/24", false), 200);
  const auto ask = [&schedule](milliseconds now) {
    int asked = 0;
    for (; !schedule.Done() && schedule.UntilNext(now).count() == 0; ++asked) schedule.Advance(now);
    return asked;
  };
  EXPECT_EQ(1, ask(milliseconds(0)));
  EXPECT_EQ(milliseconds(5), schedule.UntilNext(milliseconds(0)));
  EXPECT_EQ(0, ask(milliseconds(4)));
  EXPECT_EQ(1, ask(milliseconds(5)));
  EXPECT_EQ(4, ask(milliseconds(25)));
  EXPECT_EQ(21, ask(milliseconds(5000))) << "the one that is due, and those of a tenth of a second";
  EXPECT_EQ(1, ask(milliseconds(5005)));
  int rest = 0;
  for (milliseconds now(5010); !schedule.Done(); now += milliseconds(50)) rest += ask(now);
  EXPECT_EQ(254 - 28, rest);
  EXPECT_EQ(254U, schedule.Asked());
}

}  // namespace
}  // namespace kellanseek::kelseek
