#pragma once

#include <kellanseek/client.hpp>

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace kellanseek::kelseek {

/// What a component object knows of itself; see docs/diagnostics.md. Null if it is older than the report.
nlohmann::json ReportOf(const client::Client& client);

// Reading a report without trusting it: a member that is missing or of another type reads as empty, 0 or the
// given default, so that a tool of this version understands the report of any other.

const nlohmann::json& MemberOf(const nlohmann::json& object, const char* member);
std::string TextOf(const nlohmann::json& object, const char* member);
std::uint64_t NumberOf(const nlohmann::json& object, const char* member);
bool FlagOf(const nlohmann::json& object, const char* member, bool otherwise = false);
const nlohmann::json& ListOf(const nlohmann::json& object, const char* member);

}  // namespace kellanseek::kelseek
