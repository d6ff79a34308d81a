#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/Report.h"
#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

/// The value in force of a setting.
std::int64_t SettingOf(const nlohmann::json& report, const char* name);

/// "eth0 (10.1.0.1)"
std::string NameOf(const nlohmann::json& interfaceEntry);
/// "cell1 (10.1.0.11, {5A-0001}, 02-00-00-00-00-01)"
std::string DescriptionOf(const nlohmann::json& controller);
/// Every interface with the reason why it is not used.
std::string InterfacesInWords(const nlohmann::json& report);
/// The interface in use whose network contains the address; null if none does.
const nlohmann::json* NetworkOf(platform::Ipv4 address, const nlohmann::json& report);
/// The address of an interface.
platform::Ipv4 AddressOf(const nlohmann::json& interfaceEntry);
/// Whether the network of an interface contains the address.
bool IsInNetworkOf(const nlohmann::json& interfaceEntry, platform::Ipv4 address);
/// Whether an interface takes part in the search and is connected.
bool IsConnected(const nlohmann::json& interfaceEntry);
/// Whether an interface is a connection to a single host, such as a VPN.
bool IsToSingleHost(const nlohmann::json& interfaceEntry);
/// The networks in use on which a broadcast reaches others: connected, and of more than one host.
std::vector<const nlohmann::json*> BroadcastNetworks(const nlohmann::json& report);
/// The listed controller at the address; null if there is none.
const nlohmann::json* ControllerAt(const std::string& address, const nlohmann::json& report);
/// The networks in use: "10.1.0.1 mask 255.255.255.0".
std::string NetworksInWords(const nlohmann::json& report);
/// "4.3 s"
std::string Seconds(double seconds);

}  // namespace kellanseek::kelseek
