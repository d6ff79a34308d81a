#include "output/Listing.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "client/Text.h"
#include "client/Waiting.h"
#include "output/ControllerText.h"
#include "output/Output.h"

namespace kellanseek::kelseek {

using client::Availability;
using client::Controller;

std::string ListingText(const std::vector<Controller>& controllers, double seconds, bool colours) {
  const std::string listened = "; listened for " + SecondsText(seconds) + ".\n";
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

std::string ListingJson(const std::vector<Controller>& controllers, double seconds) {
  nlohmann::ordered_json json;
  json["listened"] = std::round(seconds * 1000) / 1000;
  json["controllers"] = nlohmann::ordered_json::array();
  for (const Controller& controller : controllers) json["controllers"].push_back(ToJson(controller));
  return JsonText(json, 2) + "\n";
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
