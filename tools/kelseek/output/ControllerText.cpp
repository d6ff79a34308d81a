#include "output/ControllerText.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>

#include "client/Text.h"

namespace kellanseek::kelseek {
namespace {

using client::Controller;

struct TextField {
  const char* key;
  const char* label;
  std::string text;
};

std::vector<TextField> TextsOf(const Controller& controller) {
  return {{"name", "name", controller.name},
          {"address", "address", controller.address},
          {"systemID", "system ID", controller.identity},
          {"mac", "MAC address", controller.mac},
          {"hostName", "host name", controller.host_name.value_or("")},
          {"systemName", "system name", controller.system_name},
          {"releasePath", "release path", controller.release_path},
          {"controllerID", "controller ID", controller.controller_id}};
}

std::string NumberText(const std::optional<std::uint32_t>& number) {
  return number ? std::to_string(*number) : "";
}

}  // namespace

std::string VersionText(const Controller& controller) {
  return controller.version ? to_string(*controller.version) : "";
}

std::string DisplayName(const Controller& controller) {
  const std::string& name = !controller.name.empty()      ? controller.name
                            : !controller.address.empty() ? controller.address
                                                          : controller.identity;
  return Printable(name);
}

std::vector<Property> Describe(const Controller& controller) {
  std::vector<Property> properties;
  for (const TextField& field : TextsOf(controller))
    properties.push_back({field.label, Printable(field.text)});
  properties.push_back({"kind", to_string(controller.kind)});
  properties.push_back({"known by", to_string(controller.origin)});
  properties.push_back({"status", to_string(controller.availability)});
  properties.push_back({"level", to_string(controller.level)});
  properties.push_back({"version", VersionText(controller)});
  properties.push_back({"KelAPI revision", NumberText(controller.api_revision)});
  properties.push_back({"port", NumberText(controller.port)});
  properties.push_back({"process", NumberText(controller.process)});
  return properties;
}

std::string Changes(const Controller& before, const Controller& after) {
  const std::vector<Property> old = Describe(before);
  const std::vector<Property> now = Describe(after);
  std::string changes;
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (old[i].value == now[i].value) continue;
    changes += (changes.empty() ? "" : ", ") + std::string(now[i].label) + " \"" + old[i].value + "\" -> \"" +
               now[i].value + "\"";
  }
  return changes;
}

nlohmann::ordered_json ToJson(const Controller& controller) {
  nlohmann::ordered_json json;
  json["availability"] = to_string(controller.availability);
  json["kind"] = to_string(controller.kind);
  json["definition"] = to_string(controller.origin);
  json["level"] = to_string(controller.level);
  for (const TextField& field : TextsOf(controller)) json[field.key] = field.text;
  json["version"] = VersionText(controller);
  json["kelAPIRevision"] = nullptr;
  if (controller.api_revision) json["kelAPIRevision"] = *controller.api_revision;
  json["port"] = controller.port.value_or(0);
  if (controller.process) json["process"] = *controller.process;
  return json;
}

std::vector<std::string> ColumnNames() {
  return {"name",         "address",        "systemID", "kind",     "definition", "availability",
          "version",      "level",          "mac",      "hostName", "systemName", "releasePath",
          "controllerID", "kelAPIRevision", "port",     "process"};
}

std::vector<std::string> Cells(const Controller& controller, const std::string& availability) {
  return {controller.name,
          controller.address,
          controller.identity,
          to_string(controller.kind),
          to_string(controller.origin),
          availability,
          VersionText(controller),
          to_string(controller.level),
          controller.mac,
          controller.host_name.value_or(""),
          controller.system_name,
          controller.release_path,
          controller.controller_id,
          NumberText(controller.api_revision),
          NumberText(controller.port),
          NumberText(controller.process)};
}

std::string JsonText(const nlohmann::ordered_json& json, int indent) {
  const std::string text = json.dump(indent);
  std::string printable;
  // The only control characters outside texts are line ends.
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    printable += Printable(std::string_view(text).substr(start, end - start));
    if (end < text.size()) printable += '\n';
    start = end + 1;
  }
  return printable;
}

std::string JsonText(const Controller& controller, int indent) {
  nlohmann::ordered_json json = {{"v", kJsonVersion}};
  json.update(ToJson(controller));
  return JsonText(json, indent);
}

}  // namespace kellanseek::kelseek
