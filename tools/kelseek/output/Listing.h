#pragma once

#include <kellanseek/client.hpp>

#include <string>
#include <vector>

namespace kellanseek::kelseek {

/// A list of controllers, as a table and as JSON, with the time spent collecting it.
std::string ListingText(const std::vector<client::Controller>& controllers, double seconds, bool colours);
std::string ListingJson(const std::vector<client::Controller>& controllers, double seconds);

/// All properties of a controller, for the user.
std::string DetailText(const client::Controller& controller, bool colours);

}  // namespace kellanseek::kelseek
