#include "client/Controller.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>

#include "client/Text.h"

namespace kellanseek::kelseek {
namespace {

using TextGetter = HRESULT (STDMETHODCALLTYPE IKelCtrlIdentity::*)(ULONG, BSTR*);

struct TextField {
  const char* key;
  const char* label;
  std::string Controller::*text;
  TextGetter get;
};

constexpr TextField kTexts[] = {
    {"name", "name", &Controller::name, &IKelCtrlIdentity::GetCtrlName},
    {"address", "address", &Controller::address, &IKelCtrlIdentity::GetCtrlAddress},
    {"systemID", "system ID", &Controller::systemID, &IKelCtrlIdentity::GetSystemID},
    {"mac", "MAC address", &Controller::mac, &IKelCtrlIdentity::GetMacAddress},
    {"hostName", "host name", &Controller::hostName, &IKelCtrlIdentity::GetHostName},
    {"systemName", "system name", &Controller::systemName, &IKelCtrlIdentity::GetSystemName},
    {"releasePath", "release path", &Controller::releasePath, &IKelCtrlIdentity::GetReleasePath},
    {"controllerID", "controller ID", &Controller::controllerID, &IKelCtrlIdentity::GetCtrlID},
};

void ReadVersions(IKelCtrlIdentity3& identity, Controller& controller) {
  ULONG major = 0;
  ULONG minor = 0;
  ULONG revision = 0;
  if (SUCCEEDED(identity.GetControllerVersion2(controller.id, &major, &minor, &revision))) {
    controller.version = std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(revision);
  } else if (SUCCEEDED(identity.GetControllerVersion(controller.id, &major, &minor))) {
    controller.version = std::to_string(major) + "." + std::to_string(minor);
  }
  if (SUCCEEDED(identity.GetKelAPICompatibilityRevision(controller.id, &revision)))
    controller.kelAPIRevision = revision;
}

template <typename Value>
std::string NumberText(const std::optional<Value>& number) {
  return number ? std::to_string(*number) : "";
}

/// The only controller with this name. Throws CommandError if there are several, because the intended one is
/// unknown.
std::optional<Controller> FindByUniqueName(const std::string& name,
                                           const std::vector<Controller>& controllers) {
  std::vector<Controller> named;
  std::copy_if(controllers.begin(), controllers.end(), std::back_inserter(named),
               [&name](const Controller& controller) { return controller.name == name; });
  if (named.empty()) return std::nullopt;
  if (named.size() == 1) return named.front();
  std::string text = std::to_string(named.size()) + " controllers have the name " +
                     Printable(std::string_view(name)) + "; give an address or system identity:";
  for (const Controller& controller : named)
    text += "\n  " + Printable(controller.address + "  " + controller.systemID);
  throw CommandError(kWrongUse, text);
}

}  // namespace

std::optional<Controller> ReadController(IKelCtrlIdentity3& identity, ULONG id) {
  Controller controller;
  controller.id = id;
  if (FAILED(identity.GetCtrlType3(id, &controller.kind))) return std::nullopt;
  for (const TextField& field : kTexts) {
    KelBstr text;
    (identity.*field.get)(id, text.Put());
    controller.*field.text = ToUtf8(text.View());
  }
  identity.GetCtrlIdentificationType(id, &controller.definition);
  identity.GetCtrlLevel(id, &controller.level);
  identity.GetCommPortNumber(id, &controller.port);
  ReadVersions(identity, controller);
  ULONG process = 0;
  if (controller.kind == VC && SUCCEEDED(identity.GetVCProcessID(id, &process))) controller.process = process;
  // Read last, because it reveals a controller that disappeared while it was being read.
  const HRESULT result = identity.GetCtrlStatus(id, &controller.availability);
  if (FAILED(result) || controller.availability == CtrlRemoved) return std::nullopt;
  return controller;
}

std::vector<Controller> ListedControllers(const Component& component) {
  KelRetrievalParams all{};
  all.noOfElts = -2;
  KelComPtr<IKelEnumCtrlIdentity> list;
  component.Check(component.Seek().GetCtrlList(&all, list.Put()), "listing the controllers");
  std::vector<Controller> controllers;
  for (AvailableCtrlsListItem item{}; list->RemNext(1, &item, nullptr) == S_OK;) {
    if (auto controller = ReadController(component.Identity(), item.lanSeekID))
      controllers.push_back(*controller);
  }
  return controllers;
}

std::optional<Controller> LookUpController(const Component& component, const std::string& which) {
  const KelBstr text(FromUtf8(which));
  ULONG id = 0;
  if (SUCCEEDED(component.Seek().GetCtrlFromIPAddress(text.Get(), &id)) ||
      SUCCEEDED(component.Seek().GetCtrlFromSystemID(text.Get(), &id))) {
    return ReadController(component.Identity(), id);
  }
  return std::nullopt;
}

std::optional<Controller> FindController(const Component& component, const std::string& which) {
  if (auto controller = LookUpController(component, which)) return controller;
  if (which.empty()) return std::nullopt;
  const std::vector<Controller> listed = ListedControllers(component);
  const auto match = std::find_if(listed.begin(), listed.end(), [&which](const Controller& controller) {
    return controller.address == which;
  });
  return match != listed.end() ? *match : FindByUniqueName(which, listed);
}

AddedController AddRemote(const Component& component, const std::string& address) {
  AddedController added;
  const auto configuration = component.Get<IKelLanSeekConfig>();
  added.result = configuration->AddRemoteController(KelBstr(FromUtf8(address)).Get(), &added.id);
  if (added.result == E_INVALIDARG) {
    throw CommandError(kWrongUse,
                       Printable(std::string_view(address)) + " is not a valid controller address");
  }
  component.Check(added.result, "adding " + Printable(std::string_view(address)));
  return added;
}

const char* NameOf(KelCtrlType kind) {
  switch (kind) {
    case RC: return "RC";
    case VC: return "VC";
    case RemoteVC: return "RemoteVC";
  }
  return "?";
}

const char* NameOf(LanSeekCtrlIdentificationType definition) {
  switch (definition) {
    case StaticCtrlDefinition: return "static";
    case DynamicCtrlDefinition: return "dynamic";
    case RemoteCtrlDefinition: return "remote";
  }
  return "?";
}

const char* NameOf(KelCtrlAvailability availability) {
  switch (availability) {
    case CtrlAvailable: return "available";
    case CtrlUnavailable: return "unavailable";
    case CtrlRemoved: return "removed";
  }
  return "?";
}

const char* NameOf(KelCtrlLevel level) { return level == BootLevel ? "boot" : "system"; }

const char* NameOf(LanSeekEventReason reason) {
  constexpr const char* kNames[] = {"new",     "updated",    "lost-connection",     "lost-lan",
                                    "restart", "power-down", "system-id-collision", "address-collision",
                                    "?",       "reconnected"};
  const auto index = static_cast<std::size_t>(reason);
  return index < std::size(kNames) ? kNames[index] : "?";
}

std::string DisplayName(const Controller& controller) {
  const std::string& name = !controller.name.empty()      ? controller.name
                            : !controller.address.empty() ? controller.address
                                                          : controller.systemID;
  return Printable(std::string_view(name));
}

std::vector<Property> Describe(const Controller& controller) {
  std::vector<Property> properties;
  for (const TextField& field : kTexts) {
    properties.push_back({field.label, Printable(std::string_view(controller.*field.text))});
  }
  properties.push_back({"kind", NameOf(controller.kind)});
  properties.push_back({"known by", NameOf(controller.definition)});
  properties.push_back({"status", NameOf(controller.availability)});
  properties.push_back({"level", NameOf(controller.level)});
  properties.push_back({"version", controller.version});
  properties.push_back({"KelAPI revision", NumberText(controller.kelAPIRevision)});
  properties.push_back({"port", controller.port == 0 ? "" : std::to_string(controller.port)});
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
  json["availability"] = NameOf(controller.availability);
  json["kind"] = NameOf(controller.kind);
  json["definition"] = NameOf(controller.definition);
  json["level"] = NameOf(controller.level);
  for (const TextField& field : kTexts) json[field.key] = controller.*field.text;
  json["version"] = controller.version;
  json["kelAPIRevision"] = nullptr;
  if (controller.kelAPIRevision) json["kelAPIRevision"] = *controller.kelAPIRevision;
  json["port"] = controller.port;
  if (controller.process) json["process"] = *controller.process;
  return json;
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
  return JsonText(ToJson(controller), indent);
}

}  // namespace kellanseek::kelseek
