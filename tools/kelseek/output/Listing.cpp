#include "output/Listing.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <nlohmann/json.hpp>

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

std::string ListingText(const Listing& listing, bool colours) {
  const std::vector<Controller>& controllers = listing.controllers;
  const std::string listened = "; listened for " + listing.waited.Text() + ".\n";
  if (controllers.empty()) return "No controllers" + listened;
  Table table({"NAME", "ADDRESS", "SYSTEM ID", "KIND", "KNOWN BY", "STATUS", "VERSION"});
  for (const Controller& controller : controllers) {
    const bool available = controller.availability == Availability::Available;
    table.Add({Printable(std::string_view(controller.name)), Printable(std::string_view(controller.address)),
               Printable(std::string_view(controller.identity)), to_string(controller.kind),
               to_string(controller.origin), to_string(controller.availability), VersionText(controller)},
              available ? Colour::Plain : Colour::Red);
  }
  const auto silent = std::count_if(controllers.begin(), controllers.end(), [](const Controller& controller) {
    return controller.availability != Availability::Available;
  });
  const std::string unavailable = silent == 0 ? "" : ", " + std::to_string(silent) + " unavailable";
  return table.Text(colours) + "\n" + Count(controllers.size(), "controller") + unavailable + listened;
}

std::string ListingJson(const Listing& listing) {
  nlohmann::ordered_json json = {{"v", kJsonVersion}};
  json["time"] = UtcText(std::chrono::system_clock::now());
  json["listened"] = std::round(listing.waited.seconds * 1000) / 1000;
  if (listing.waited.complete) json["complete"] = *listing.waited.complete;
  json["controllers"] = nlohmann::ordered_json::array();
  for (const Controller& controller : listing.controllers) json["controllers"].push_back(ToJson(controller));
  return JsonText(json, 2) + "\n";
}

std::string ListingCsv(const Listing& listing) {
  std::string text = CsvLine(ColumnNames());
  for (const Controller& controller : listing.controllers) text += CsvLine(Cells(controller));
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
