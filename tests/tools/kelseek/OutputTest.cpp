#include "output/Output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "client/Text.h"
#include "output/ControllerText.h"
#include "output/Csv.h"
#include "output/EventText.h"
#include "output/Listing.h"
#include "tests/tools/kelseek/Named.h"

namespace kellanseek::kelseek {
namespace {

using client::Availability;
using client::Change;
using client::ChangeType;
using client::Controller;
using client::Reason;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Controller Hostile() {
  Controller controller = Named(12, "\x1b]0;owned\x07\xc2\x9b");
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
    for (const std::string& line : Lines(output)) EXPECT_EQ(line, Printable(line));
  }
  EXPECT_EQ(1U, Lines(outputs[0]).size());
  EXPECT_EQ(1U, Lines(outputs[1]).size());
}

TEST(Output, PrintsIdsOnlyInEventStreams) {
  const Controller controller = Named(98765, "cell");
  const Change event = EventOf(Reason::New, controller);
  EXPECT_EQ(98765, nlohmann::json::parse(JsonText(event))["id"]);
  EXPECT_THAT(EventLine(event, false) + JsonText(controller, 2) + ListingText({{controller}, {1}}, false) +
                  ListingJson({{controller}, {1}}) + DetailText(controller, false),
              Not(HasSubstr("98765")));
  EXPECT_THAT(DetailText(controller, false), StartsWith("controller cell\n"));
  EXPECT_THAT(DetailText(Named(11, ""), false), StartsWith("controller 10.1.0.11\n"));
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
  const std::vector<Controller> controllers = {Named(11, "cell"), Named(12, "Zelle S\u00fcd"),
                                               Named(13, "\u30bb\u30eb")};
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
  Controller silent = Named(12, "b");
  silent.availability = Availability::Unavailable;
  EXPECT_THAT(ListingText({{Named(11, "a"), silent}, {2.04}}, false),
              EndsWith("\n2 controllers, 1 unavailable; listened for 2.0 s.\n"));
  EXPECT_THAT(ListingText({{silent}, {0}}, false),
              EndsWith("\n1 controller, 1 unavailable; listened for 0.0 s.\n"));
  EXPECT_EQ("No controllers; listened for 2.0 s.\n", ListingText({{}, {2}}, false));
  EXPECT_EQ("No controllers; listened for 4.3 s, until everything was asked once.\n",
            ListingText({{}, {4.3, "until everything was asked once", true}}, false));
}

TEST(Output, ControllersThatNeverAnsweredAreBelowAndNotFound) {
  Controller silent = Named(13, "a configured one");
  silent.availability = Availability::Unavailable;
  const Listing listing{{Named(11, "a")}, {1}, {silent}};
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
  Change event = EventOf(Reason::Updated, Named(11, "after"));
  event.before = Named(11, "be\x1b");
  event.controller.version = client::Version{6, 10, 2};
  EXPECT_THAT(EventLine(event, false),
              EndsWith("  name \"be\\u001b\" -> \"after\", version \"\" -> \"6.10.2\"\n"));
}

TEST(Output, ListedControllersAreNewIfTheyAnswer) {
  Change listed = EventOf(std::nullopt, Named(11, "a"));
  listed.type = ChangeType::Listed;
  EXPECT_EQ("new", nlohmann::json::parse(JsonText(listed))["reason"]);
  EXPECT_THAT(EventLine(listed, false), HasSubstr("  new  "));
  listed.controller.availability = Availability::Unavailable;
  EXPECT_FALSE(nlohmann::json::parse(JsonText(listed)).contains("reason"));
  EXPECT_THAT(EventLine(listed, false), HasSubstr("  known  "));
}

TEST(Output, UsesColoursOnlyOnRequest) {
  const Change event = EventOf(Reason::LostConnection, Named(11, "a"));
  EXPECT_THAT(EventLine(event, true), HasSubstr("\x1b[31mlost-connection"));
  EXPECT_THAT(EventLine(event, false) + EventHeading(false) + DetailText(event.controller, false),
              Not(HasSubstr("\x1b")));
}

TEST(Output, FormatsTimesAsDates) {
  EXPECT_EQ("1970-01-01T00:00:00.000", TimeText({0xD53E8000, 0x019DB1DE}));
  EXPECT_EQ("2024-02-29T23:59:59.999Z",
            UtcText(std::chrono::system_clock::time_point(std::chrono::microseconds(1709251199999999))));
}

TEST(Csv, IsSafeForTerminalsAndSpreadsheets) {
  const struct {
    std::string text;
    std::string cell;
  } cases[] = {
      {"", ""},
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

TEST(Text, WidthMatchesATerminal) {
  const struct {
    std::string text;
    std::size_t width;
  } cases[] = {{"", 0}, {"cell", 4}, {"S\u00fcd", 3}, {"u\u0308", 1}, {"\u30bb\u30eb", 4}, {"\U0001F916", 2}};
  for (const auto& one : cases) EXPECT_EQ(one.width, Width(one.text)) << one.text;
}

}  // namespace
}  // namespace kellanseek::kelseek
