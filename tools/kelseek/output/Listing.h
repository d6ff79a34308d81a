#pragma once

#include <kellanseek/client.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/Waiting.h"

namespace kellanseek::kelseek {

/// How results are printed.
enum class Format { Table, Json, Csv };

/// A list of controllers.
struct Listing {
  std::vector<client::Controller> controllers = {};
  Waited waited = {};  ///< The wait for it.
  /// Configured or added, and silent so far: shown below the others, and not among those that were found.
  std::vector<client::Controller> neverHeard = {};
  std::optional<std::uint64_t> asked = {};  ///< The addresses that a scan has asked.
};

/// The list as a table for people, as JSON (see docs/json.md) and as CSV with a heading.
std::string ListingText(const Listing& listing, bool colours);
std::string ListingJson(const Listing& listing);
std::string ListingCsv(const Listing& listing);

/// Writes the list to standard output. Returns false on failure; see Write().
bool Print(const Listing& listing, Format format, bool colours);

/// All properties of a controller, for the user.
std::string DetailText(const client::Controller& controller, bool colours);

}  // namespace kellanseek::kelseek
