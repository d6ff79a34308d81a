#include "output/Output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "client/ScanSchedule.h"
#include "client/Selection.h"
#include "client/Session.h"
#include "client/StaticFile.h"
#include "client/Text.h"
#include "output/ControllerText.h"
#include "output/Csv.h"
#include "output/EventText.h"
#include "output/Listing.h"
#include "tests/support/ScratchDirectory.h"

namespace kellanseek::kelseek {
namespace {

using namespace std::string_literals;
using client::Availability;
using client::Change;
using client::ChangeType;
using client::Controller;
using client::Reason;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Controller Plain(std::uint32_t id, const std::string& name) {
  Controller controller;
  controller.id = id;
  controller.availability = Availability::Available;
  controller.name = name;
  controller.address = "10.1.0.11";
  controller.identity = "{5A}";
  return controller;
}

Controller Hostile() {
  Controller controller = Plain(12, "\x1b]0;owned\x07\xc2\x9b");
  controller.identity = "\xe2\x80\xae{X}\n";
  controller.release_path = "\r\b\x7f";
  return controller;
}

Change EventOf(std::optional<Reason> reason, const Controller& controller) {
  Change event;
  event.type = ChangeType::Changed;
  event.reason = reason;
  event.controller = controller;
  return event;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0, end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

TEST(Output, EscapesTextsFromTheNetwork) {
  const Change event = EventOf(Reason::New, Hostile());
  const std::string outputs[] = {EventLine(event, false),         JsonText(event) + "\n",
                                 JsonText(event.controller, 2),   ListingText({{Hostile()}, {1}}, false),
                                 ListingJson({{Hostile()}, {1}}), DetailText(Hostile(), false)};
  for (const std::string& output : outputs) {
    for (const std::string& line : Lines(output)) EXPECT_EQ(line, Printable(std::string_view(line)));
  }
  EXPECT_EQ(1U, Lines(outputs[0]).size());
  EXPECT_EQ(1U, Lines(outputs[1]).size());
}

TEST(Output, PrintsIdsOnlyInEventStreams) {
  const Controller controller = Plain(98765, "cell");
  const Change event = EventOf(Reason::New, controller);
  EXPECT_EQ(98765, nlohmann::json::parse(JsonText(event))["id"]);
  EXPECT_THAT(EventLine(event, false) + JsonText(controller, 2) + ListingText({{controller}, {1}}, false) +
                  ListingJson({{controller}, {1}}) + DetailText(controller, false),
              Not(HasSubstr("98765")));
  EXPECT_THAT(DetailText(controller, false), StartsWith("controller cell\n"));
  EXPECT_THAT(DetailText(Plain(11, ""), false), StartsWith("controller 10.1.0.11\n"));
}

TEST(Output, JsonPreservesTheTexts) {
  const Controller controller = Hostile();
  const auto json = nlohmann::json::parse(JsonText(controller));
  EXPECT_EQ(controller.name, json["name"]);
  EXPECT_EQ(controller.identity, json["systemID"]);
  EXPECT_EQ(controller.release_path, json["releasePath"]);
  EXPECT_FALSE(nlohmann::json::parse(JsonText(EventOf(std::nullopt, controller))).contains("reason"));
}

TEST(Output, ColumnsAlignForAnyNames) {
  const std::vector<Controller> controllers = {Plain(11, "cell"), Plain(12, "Zelle S\u00fcd"),
                                               Plain(13, "\u30bb\u30eb")};
  const auto column = [](const std::string& line) { return Width(line.substr(0, line.find("10.1.0.11"))); };
  const auto listing = Lines(ListingText({controllers, {1}}, false));
  std::vector<std::string> events;
  for (const Controller& controller : controllers)
    events.push_back(EventLine(EventOf(Reason::New, controller), false));
  for (std::size_t i = 1; i < controllers.size(); ++i) {
    EXPECT_EQ(column(listing[1]), column(listing[1 + i])) << listing[1 + i];
    EXPECT_EQ(column(events[0]), column(events[i])) << events[i];
  }
  const std::string heading = EventHeading(false);
  EXPECT_EQ(heading.find("ADDRESS"), column(events[0]));
  EXPECT_EQ(heading.find("DETAIL"), events[0].find("{5A}"));
}

TEST(Output, ListEndsWithCountAndTime) {
  Controller silent = Plain(12, "b");
  silent.availability = Availability::Unavailable;
  EXPECT_THAT(ListingText({{Plain(11, "a"), silent}, {2.04}}, false),
              EndsWith("\n2 controllers, 1 unavailable; listened for 2.0 s.\n"));
  EXPECT_THAT(ListingText({{silent}, {0}}, false),
              EndsWith("\n1 controller, 1 unavailable; listened for 0.0 s.\n"));
  EXPECT_EQ("No controllers; listened for 2.0 s.\n", ListingText({{}, {2}}, false));
  EXPECT_EQ("No controllers; listened for 4.3 s, until everything was asked once.\n",
            ListingText({{}, {4.3, "until everything was asked once", true}}, false));
}

TEST(Output, ControllersThatNeverAnsweredAreBelowAndNotFound) {
  Controller silent = Plain(13, "a configured one");
  silent.availability = Availability::Unavailable;
  const Listing listing{{Plain(11, "a")}, {1}, {silent}};
  const auto lines = Lines(ListingText(listing, false));
  EXPECT_THAT(lines[2], HasSubstr("  never-heard"));
  EXPECT_EQ("1 controller, 1 never heard; listened for 1.0 s.", lines.back());
  const auto json = nlohmann::json::parse(ListingJson(listing));
  EXPECT_EQ(1U, json["controllers"].size());
  EXPECT_EQ("never-heard", json["neverHeard"][0]["availability"]);
  EXPECT_THAT(Lines(ListingCsv(listing))[2], HasSubstr(",never-heard,"));
  EXPECT_THAT(ListingText({{}, {1}, {silent}}, false),
              EndsWith("\nNo controllers, 1 never heard; listened for 1.0 s.\n"));
}

TEST(Output, UpdateListsTheChanges) {
  Change event = EventOf(Reason::Updated, Plain(11, "after"));
  event.before = Plain(11, "be\x1b");
  event.controller.version = client::Version{6, 10, 2};
  EXPECT_THAT(EventLine(event, false),
              EndsWith("  name \"be\\u001b\" -> \"after\", version \"\" -> \"6.10.2\"\n"));
}

TEST(Output, ListedControllersAreNewIfTheyAnswer) {
  Change listed = EventOf(std::nullopt, Plain(11, "a"));
  listed.type = ChangeType::Listed;
  EXPECT_EQ("new", nlohmann::json::parse(JsonText(listed))["reason"]);
  EXPECT_THAT(EventLine(listed, false), HasSubstr("  new  "));
  listed.controller.availability = Availability::Unavailable;
  EXPECT_FALSE(nlohmann::json::parse(JsonText(listed)).contains("reason"));
  EXPECT_THAT(EventLine(listed, false), HasSubstr("  known  "));
}

TEST(Output, UsesColoursOnlyOnRequest) {
  const Change event = EventOf(Reason::LostConnection, Plain(11, "a"));
  EXPECT_THAT(EventLine(event, true), HasSubstr("\x1b[31mlost-connection"));
  EXPECT_THAT(EventLine(event, false) + EventHeading(false) + DetailText(event.controller, false),
              Not(HasSubstr("\x1b")));
}

TEST(Output, FormatsTimesAsDates) {
  const struct {
    std::uint64_t ticks;
    const char* text;
  } cases[] = {
      {0, "1601-01-01T00:00:00.000"},
      {116444736000000000ULL, "1970-01-01T00:00:00.000"},
      {133537247999999999ULL, "2024-02-29T23:59:59.999"},
      {133537248000000000ULL, "2024-03-01T00:00:00.000"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(one.text, TimeText({static_cast<DWORD>(one.ticks), static_cast<DWORD>(one.ticks >> 32)}));
  }
  EXPECT_EQ("2024-02-29T23:59:59.999Z",
            UtcText(std::chrono::system_clock::time_point(std::chrono::milliseconds(1709251199999))));
}

/// Four controllers, in the order in which they became known, and a report of where they were heard.
std::vector<Controller> Plant() {
  std::vector<Controller> plant = {Plain(11, "Press 2"), Plain(12, "press 1"), Plain(13, "robot"),
                                   Plain(14, "Saw")};
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

TEST(Csv, IsSafeForTerminalsAndSpreadsheets) {
  const struct {
    std::string text;
    std::string cell;
  } cases[] = {
      {"", ""},
      {"cell 1", "cell 1"},
      {"a,b", "\"a,b\""},
      {"5\" disk", "\"5\"\" disk\""},
      {" a ", "\" a \""},
      {"a=1", "a=1"},
      {"=cmd|' /C calc'!A0", "'=cmd|' /C calc'!A0"},
      {"+1", "'+1"},
      {"-1,2", "\"'-1,2\""},
      {"@SUM(A1)", "'@SUM(A1)"},
      {"\t=1", "'\\u0009=1"},
      {"\r=1", "'\\u000d=1"},
      {"a\r\nb", "a\\u000d\\u000ab"},
      {"\u202e\u009b", "\\u202e\\u009b"},
      {"Zelle S\u00fcd", "Zelle S\u00fcd"},
  };
  for (const auto& one : cases) EXPECT_EQ("x," + one.cell + ",y\r\n", CsvLine({"x", one.text, "y"}));
}

TEST(Csv, HasAColumnForEveryMember) {
  Controller controller = Hostile();
  controller.process = 7;
  const auto json = nlohmann::json::parse(JsonText(controller));
  const std::vector<std::string> names = ColumnNames();
  EXPECT_EQ(json.size() - 1, names.size()) << "all but the version";
  for (const std::string& name : names) EXPECT_TRUE(json.contains(name)) << name;
  EXPECT_EQ(names.size(), Cells(controller, "available").size());
  EXPECT_EQ(controller.name, Cells(controller, "available")[0]);
  EXPECT_EQ(2U, Lines(ListingCsv({{controller}, {1}})).size());
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
  Controller controller = Plain(11, "<S\u00fcd & \u30bb>");
  controller.release_path = "\x1b[31m";
  const std::string entry =
      "  <ControllerIdentity>\n    <ControllerName>&#x3C;S\xfc"
      "d &#x26; &#x30BB;&#x3E;</ControllerName>\n"
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
  Controller first = Plain(11, "S\u00fcd");
  first.version = client::Version{6, 10, 2};
  Controller second = Plain(12, "\u30bb");
  second.address = "10.1.0.12";
  EXPECT_FALSE(SaveController(directory, first).wasThere);
  EXPECT_FALSE(SaveController(directory, second).wasThere);
  const Saved saved = SaveController(directory, first);
  EXPECT_TRUE(saved.wasThere);
  EXPECT_THAT(scratch.Read("new/controllerid.xml"), HasSubstr("<ControllerName>S\xfc"
                                                              "d</ControllerName>"));
  // A file that the component refuses stays as it is.
  scratch.Write("new/controllerid.xml", "<ControllerIdentities/>");
  EXPECT_THROW(SaveController(directory, first), CommandError);
  EXPECT_EQ("<ControllerIdentities/>", scratch.Read("new/controllerid.xml"));
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(scratch.File("new")), {}));
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
      {"10.1.0.0/24", "10.1.0.1 10.1.0.254 254"},
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
      {"0.0.0.0/8",
       "\"0.0.0.0/8\" has 16777216 addresses, more than a /16; ask for parts of it, or say --yes"},
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

TEST(Text, EscapesEverythingThatControlsATerminal) {
  const struct {
    std::string text;
    std::string printed;
  } cases[] = {
      {"cell 1", "cell 1"},
      {"Zelle S\u00fcd", "Zelle S\u00fcd"},
      {"\u30bb\u30eb \U0001F916", "\u30bb\u30eb \U0001F916"},
      {"C:\\cell\\u001b", "C:\\cell\\u001b"},
      {"\x1b[31mred\x07", "\\u001b[31mred\\u0007"},
      {"a\0b\r\n\t"s, "a\\u0000b\\u000d\\u000a\\u0009"},
      {"\x7f\u0080\u009b\u009f\u00a0", "\\u007f\\u0080\\u009b\\u009f\u00a0"},
      {"\u202egnp.exe\u2066\u200f\ufeff", "\\u202egnp.exe\\u2066\\u200f\\ufeff"},
      {"\u2028\u2029", "\\u2028\\u2029"},
      {"bad \xff\xc3", "bad \ufffd\ufffd"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.printed, Printable(std::string_view(one.text)));
}

TEST(Text, WidthMatchesATerminal) {
  const struct {
    std::string text;
    std::size_t width;
  } cases[] = {{"", 0}, {"cell", 4}, {"S\u00fcd", 3}, {"u\u0308", 1}, {"\u30bb\u30eb", 4}, {"\U0001F916", 2}};
  for (const auto& one : cases) EXPECT_EQ(one.width, Width(one.text)) << one.text;
}

}  // namespace
}  // namespace kellanseek::kelseek
