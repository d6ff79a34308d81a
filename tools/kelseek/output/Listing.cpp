#include "output/Listing.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

#include "client/Selection.h"
#include "client/Text.h"
#include "client/Waiting.h"
#include "output/ControllerText.h"
#include "output/Csv.h"
#include "output/EventText.h"
#include "output/Output.h"
#include "platform/Terminal.h"

namespace kellanseek::kelseek {

using client::Availability;
using client::Controller;

namespace {

/// The cells of a table for people.
std::vector<std::string> Row(const Controller& controller, const std::string& status) {
  return {Printable(controller.name), Printable(controller.address), Printable(controller.identity),
          to_string(controller.kind), to_string(controller.origin),  status,
          VersionText(controller)};
}

/// "2 controllers, 1 unavailable, 1 never heard; listened for 2.0 s."
std::string Closing(const Listing& listing) {
  const std::vector<Controller>& found = listing.controllers;
  const auto silent = std::count_if(found.begin(), found.end(), [](const Controller& controller) {
    return controller.availability != Availability::Available;
  });
  std::string text = found.empty() ? "No controllers" : Count(found.size(), "controller");
  if (silent != 0) text += ", " + std::to_string(silent) + " unavailable";
  if (!listing.neverHeard.empty()) text += ", " + std::to_string(listing.neverHeard.size()) + " never heard";
  if (listing.asked)
    return text + "; asked " + Count(*listing.asked, "address", "addresses") + " within " +
           listing.waited.Text() + ".\n";
  return text + "; listened for " + listing.waited.Text() + ".\n";
}

}  // namespace

std::string ListingText(const Listing& listing, bool colours) {
  if (listing.controllers.empty() && listing.neverHeard.empty()) return Closing(listing);
  Table table({"NAME", "ADDRESS", "SYSTEM ID", "KIND", "KNOWN BY", "STATUS", "VERSION"});
  for (const Controller& each : listing.controllers)
    table.Add(Row(each, to_string(each.availability)),
              each.availability == Availability::Available ? Colour::Plain : Colour::Red);
  for (const Controller& each : listing.neverHeard) table.Add(Row(each, kNeverHeard), Colour::Yellow);
  return table.Text(colours) + "\n" + Closing(listing);
}

std::string ListingJson(const Listing& listing) {
  nlohmann::ordered_json json = {{"v", kJsonVersion}};
  json["time"] = UtcText(std::chrono::system_clock::now());
  json["listened"] = std::round(listing.waited.seconds * 1000) / 1000;
  if (listing.waited.complete) json["complete"] = *listing.waited.complete;
  if (listing.asked) json["asked"] = *listing.asked;
  json["controllers"] = nlohmann::ordered_json::array();
  for (const Controller& controller : listing.controllers) json["controllers"].push_back(ToJson(controller));
  if (listing.asked) return JsonText(json, 2) + "\n";
  json["neverHeard"] = nlohmann::ordered_json::array();
  for (const Controller& controller : listing.neverHeard) {
    json["neverHeard"].push_back(ToJson(controller));
    json["neverHeard"].back()["availability"] = kNeverHeard;
  }
  return JsonText(json, 2) + "\n";
}

std::string ListingCsv(const Listing& listing) {
  std::string text = CsvLine(ColumnNames());
  for (const Controller& controller : listing.controllers)
    text += CsvLine(Cells(controller, to_string(controller.availability)));
  for (const Controller& controller : listing.neverHeard) text += CsvLine(Cells(controller, kNeverHeard));
  return text;
}

bool Print(const Listing& listing, Format format, bool colours) {
  switch (format) {
    case Format::Json: return Write(ListingJson(listing));
    case Format::Csv: platform::KeepLineEnds(); return Write(ListingCsv(listing));
    case Format::Table: break;
  }
  return Write(ListingText(listing, colours));
}

std::string DetailText(const Controller& controller, bool colours) {
  constexpr std::size_t kLabelColumns = 17;
  std::string text = Paint("controller " + DisplayName(controller), Colour::Bold, colours) + "\n";
  for (const Property& property : Describe(controller)) {
    const std::string value = property.value.empty() ? Paint("-", Colour::Faint, colours) : property.value;
    text += "  " + Pad(property.label, kLabelColumns) + value + "\n";
  }
  return text;
}

}  // namespace kellanseek::kelseek
