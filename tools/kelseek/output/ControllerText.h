#pragma once

#include <kellanseek/client.hpp>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kellanseek::kelseek {

/// "5.12.1"; empty if it was not reported.
std::string VersionText(const client::Controller& controller);

/// The controller's name or, if it has none yet, its address or system identity. Safe to print.
std::string DisplayName(const client::Controller& controller);

struct Property {
  const char* label;
  std::string value;  ///< Safe to print; empty if unknown.
};
/// All properties for the user, always the same ones in the same order. Without the id, which has no meaning
/// outside this process.
std::vector<Property> Describe(const client::Controller& controller);

/// The differences, such as `name "a" -> "b", port 0 -> 80`. Empty if there are none.
std::string Changes(const client::Controller& before, const client::Controller& after);

/// All properties except the id.
nlohmann::ordered_json ToJson(const client::Controller& controller);

/// The names of the columns of a table for programs, which are those of the JSON members, and a controller's
/// cells. Not safe to print. An unknown value is empty.
std::vector<std::string> ColumnNames();
std::vector<std::string> Cells(const client::Controller& controller, const std::string& availability);

/// The version of the JSON documents and lines; see docs/json.md.
inline constexpr int kJsonVersion = 1;

/// JSON in UTF-8, safe to print. A negative `indent` puts it on one line.
std::string JsonText(const nlohmann::ordered_json& json, int indent = -1);
/// A controller as a document of its own.
std::string JsonText(const client::Controller& controller, int indent = -1);

}  // namespace kellanseek::kelseek
