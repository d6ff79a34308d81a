#pragma once

#include <kellanseek/KelLanSeek.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "client/Component.h"

namespace kellanseek::tools {

/// What the component tells of one controller at one time. Texts are UTF-8 as they came, not yet safe to
/// print.
struct Controller {
  ULONG id = 0;
  KelCtrlType kind = RC;
  LanSeekCtrlIdentificationType definition = DynamicCtrlDefinition;
  KelCtrlAvailability availability = CtrlUnavailable;
  KelCtrlLevel level = SystemLevel;
  std::string name;
  std::string address;
  std::string systemID;
  std::string mac;
  std::string hostName;
  std::string systemName;
  std::string releasePath;
  std::string controllerID;
  std::string version;  ///< "5.12.1", or empty when it was not reported.
  std::optional<ULONG> kelAPIRevision;
  ULONG port = 0;
  std::optional<ULONG> process;  ///< Of a virtual controller on this host.

  bool operator==(const Controller&) const = default;
};

/// None when the controller is no longer known.
std::optional<Controller> ReadController(IKelCtrlIdentity3& identity, ULONG id);

/// The controllers that are listed, in the order in which they became known.
std::vector<Controller> ListedControllers(const Component& component);

/// The listed controller with this address or system identity. Costs no walk.
std::optional<Controller> LookUpController(const Component& component, const std::string& which);
/// The same, and with a walk also a virtual one of another host by its address, or the one of this name.
/// Throws CommandError when several have the name.
std::optional<Controller> FindController(const Component& component, const std::string& which);

struct AddedController {
  ULONG id = 0;
  HRESULT result = S_OK;  ///< Tells whether it was known already.
};
/// Has the component ask the controller at an address. Throws CommandError when it refuses.
AddedController AddRemote(const Component& component, const std::string& address);

const char* NameOf(KelCtrlType kind);
const char* NameOf(LanSeekCtrlIdentificationType definition);
const char* NameOf(KelCtrlAvailability availability);
const char* NameOf(KelCtrlLevel level);
const char* NameOf(LanSeekEventReason reason);

/// What people call it, safe to print: its name or, while it has told none, its address or system identity.
std::string Called(const Controller& controller);

struct Property {
  const char* label;
  std::string value;  ///< Safe to print; empty when there is none.
};
/// All properties but the id, which no other process knows it by, for people, always the same ones in the
/// same order.
std::vector<Property> Describe(const Controller& controller);

/// What is different: `name "a" -> "b", port 0 -> 80`. Empty when nothing is.
std::string Changes(const Controller& before, const Controller& after);

/// Without the id.
nlohmann::ordered_json ToJson(const Controller& controller);

/// JSON in UTF-8 in which nothing can command a terminal; `indent` below 0 for one line.
std::string JsonText(const nlohmann::ordered_json& json, int indent = -1);
std::string JsonText(const Controller& controller, int indent = -1);

}  // namespace kellanseek::tools
