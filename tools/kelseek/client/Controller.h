#pragma once

#include <kellanseek/KelLanSeek.h>

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "client/Component.h"

namespace kellanseek::kelseek {

/// A controller's properties at one moment. Texts are UTF-8 as received; pass them through Printable() before
/// printing.
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
  std::string version;  ///< "5.12.1"; empty if it was not reported.
  std::optional<ULONG> kelAPIRevision;
  ULONG port = 0;
  std::optional<ULONG> process;  ///< Process id of a virtual controller on this host.

  bool operator==(const Controller&) const = default;
};

/// Reads all properties. Returns nullopt if the controller is no longer known.
std::optional<Controller> ReadController(IKelCtrlIdentity3& identity, ULONG id);

/// The listed controllers, in the order in which they became known.
std::vector<Controller> ListedControllers(const Component& component);

/// Finds a listed controller by its address or system identity, without reading the list.
std::optional<Controller> LookUpController(const Component& component, const std::string& which);
/// Like LookUpController(), then searches the list for the address (of a virtual controller on another host)
/// and the name. Throws CommandError if several controllers have the name.
std::optional<Controller> FindController(const Component& component, const std::string& which);

struct AddedController {
  ULONG id = 0;
  HRESULT result = S_OK;  ///< Whether it was already known.
};
/// Adds the controller at an address. Throws CommandError if the component refuses.
AddedController AddRemote(const Component& component, const std::string& address);

const char* NameOf(KelCtrlType kind);
const char* NameOf(LanSeekCtrlIdentificationType definition);
const char* NameOf(KelCtrlAvailability availability);
const char* NameOf(KelCtrlLevel level);
const char* NameOf(LanSeekEventReason reason);

/// The controller's name or, if it has none yet, its address or system identity. Safe to print.
std::string DisplayName(const Controller& controller);

struct Property {
  const char* label;
  std::string value;  ///< Safe to print; empty if unknown.
};
/// All properties for the user, always the same ones in the same order. Without the id, which has no meaning
/// outside this process.
std::vector<Property> Describe(const Controller& controller);

/// The differences, such as `name "a" -> "b", port 0 -> 80`. Empty if there are none.
std::string Changes(const Controller& before, const Controller& after);

/// All properties except the id.
nlohmann::ordered_json ToJson(const Controller& controller);

/// JSON in UTF-8, safe to print. A negative `indent` puts it on one line.
std::string JsonText(const nlohmann::ordered_json& json, int indent = -1);
std::string JsonText(const Controller& controller, int indent = -1);

}  // namespace kellanseek::kelseek
