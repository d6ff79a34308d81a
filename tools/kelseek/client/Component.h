#pragma once

#include <kellanseek/client.hpp>

#include <functional>
#include <optional>
#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// The path of the component's module: the value of --module or of the environment variable
/// KELLANSEEK_MODULE, else the component's file beside the program or in its library directory. Empty if
/// there is none of these: then use the registered class.
std::wstring ModulePath(const Session& session);

/// Makes the value of --config, if it is given, the configuration directory of this process.
void UseConfiguration(const Session& session);

/// A client of a new component object. Throws CommandError if it cannot be created, or if --config names no
/// directory.
client::Client Connect(const Session& session);

/// Whether a controller is among those that the user wants.
using Wanted = std::function<bool(const client::Controller&)>;
inline bool AnyController(const client::Controller&) { return true; }

/// Finds a listed controller by its address or system identity, without reading the list.
std::optional<client::Controller> LookUpController(const client::Client& client, const std::string& which,
                                                   const Wanted& wanted = AnyController);
/// Like LookUpController(), then searches the list for the address (of a virtual controller on another host)
/// and the name. Throws CommandError if several wanted controllers have the name.
std::optional<client::Controller> FindController(const client::Client& client, const std::string& which,
                                                 const Wanted& wanted = AnyController);

/// Adds the controller at an address. Throws CommandError if it is no valid one.
client::AddResult AddRemote(const client::Client& client, const std::string& address);

}  // namespace kellanseek::kelseek
