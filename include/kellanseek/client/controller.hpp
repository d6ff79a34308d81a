#pragma once

// A controller as a plain value, and the names of its properties. Part of kellanseek/client.hpp.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek::client {

// The enumerations have the values of those in KelLanSeek.h. A later component may report other values, which
// are kept; their text is "?".

enum class Kind : INT {
  RC = ::RC,              ///< A real controller.
  VC = ::VC,              ///< A virtual controller on this host.
  RemoteVC = ::RemoteVC,  ///< A virtual controller published by another host.
};

/// How a controller became known.
enum class Origin : INT {
  Static = StaticCtrlDefinition,    ///< From the static controller file.
  Dynamic = DynamicCtrlDefinition,  ///< Found on the network, or registered on this host.
  Remote = RemoteCtrlDefinition,    ///< Added by address.
};

enum class Availability : INT {
  Available = CtrlAvailable,
  Unavailable = CtrlUnavailable,  ///< Silent, but configured or added: it may return under the same id.
  Removed = CtrlRemoved,          ///< Gone for good.
};

enum class Level : INT {
  System = SystemLevel,  ///< Its system is running.
  Boot = BootLevel,      ///< Only its boot program is running.
};

/// Why a controller is new, has changed or is gone. LanSeekEventReason has the details.
enum class Reason : INT {
  New = CtrlNew,
  Updated = CtrlUpdated,
  LostConnection = CtrlLostConnection,
  LostLan = CtrlLostLAN,
  Restart = CtrlLostRestart,
  PowerDown = CtrlLostPowerDown,
  SystemIdCollision = CtrlLostSystemIdCollision,
  AddressCollision = CtrlLostIPAddressCollision,
  Reconnected = CtrlReconnected,
};

inline std::string to_string(Kind kind) {
  switch (kind) {
    case Kind::RC: return "RC";
    case Kind::VC: return "VC";
    case Kind::RemoteVC: return "RemoteVC";
  }
  return "?";
}

inline std::string to_string(Origin origin) {
  switch (origin) {
    case Origin::Static: return "static";
    case Origin::Dynamic: return "dynamic";
    case Origin::Remote: return "remote";
  }
  return "?";
}

inline std::string to_string(Availability availability) {
  switch (availability) {
    case Availability::Available: return "available";
    case Availability::Unavailable: return "unavailable";
    case Availability::Removed: return "removed";
  }
  return "?";
}

inline std::string to_string(Level level) {
  switch (level) {
    case Level::System: return "system";
    case Level::Boot: return "boot";
  }
  return "?";
}

inline std::string to_string(Reason reason) {
  switch (reason) {
    case Reason::New: return "new";
    case Reason::Updated: return "updated";
    case Reason::LostConnection: return "lost-connection";
    case Reason::LostLan: return "lost-lan";
    case Reason::Restart: return "restart";
    case Reason::PowerDown: return "power-down";
    case Reason::SystemIdCollision: return "system-id-collision";
    case Reason::AddressCollision: return "address-collision";
    case Reason::Reconnected: return "reconnected";
  }
  return "?";
}

/// The version of a controller's software.
struct Version {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::optional<std::uint32_t> revision;

  friend bool operator==(const Version& left, const Version& right) {
    return left.major == right.major && left.minor == right.minor && left.revision == right.revision;
  }
  friend bool operator!=(const Version& left, const Version& right) { return !(left == right); }
};

/// "6.10.2", or "6.10" without a revision.
inline std::string to_string(const Version& version) {
  const std::string text = std::to_string(version.major) + "." + std::to_string(version.minor);
  return version.revision ? text + "." + std::to_string(*version.revision) : text;
}

/// A controller's properties at one moment. Texts are UTF-8 as the controller sent them, control characters
/// included (see printable()); an empty text was not reported.
struct Controller {
  /// The lanSeekID: names the controller in calls and events of this component object, and is never reused.
  /// Another object, and another run, give the same controller another one.
  std::uint32_t id = 0;
  Kind kind = Kind::RC;
  Origin origin = Origin::Dynamic;
  Availability availability = Availability::Unavailable;
  Level level = Level::System;
  std::string name;
  std::string address;                   ///< Dotted IPv4; of a virtual controller on this host, its path.
  std::string identity;                  ///< The system identity, unique among controllers.
  std::string mac;                       ///< The MAC address as reported.
  std::string system_name;               ///< The name of the system that it runs.
  std::string release_path;              ///< Where the software of that system is.
  std::string controller_id;             ///< Its controller id.
  std::optional<std::string> host_name;  ///< None until the reverse look-up has succeeded.
  std::optional<Version> version;        ///< None if it was not reported.
  std::optional<std::uint32_t> api_revision;  ///< KelAPI compatibility revision. None if not reported.
  std::optional<std::uint32_t> port;          ///< Where it serves clients. None if not reported.
  std::optional<std::uint32_t> process;       ///< Process id of a virtual controller on this host.

 private:
  auto Members() const {
    return std::tie(id, kind, origin, availability, level, name, address, identity, mac, system_name,
                    release_path, controller_id, host_name, version, api_revision, port, process);
  }

 public:
  friend bool operator==(const Controller& left, const Controller& right) {
    return left.Members() == right.Members();
  }
  friend bool operator!=(const Controller& left, const Controller& right) { return !(left == right); }
};

/// What the component tells its subscribers: a change of one controller, whose properties can be read with
/// Client::read(), unless it has gone meanwhile. Changes of one controller that wait for delivery are merged.
struct Event {
  std::uint32_t id = 0;
  Availability availability = Availability::Available;
  Reason reason = Reason::Updated;
  std::chrono::system_clock::time_point time;  ///< When the event arrived.
};

}  // namespace kellanseek::client
