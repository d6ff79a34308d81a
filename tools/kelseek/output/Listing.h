#pragma once

#include <string>
#include <vector>

#include "client/Controller.h"

namespace kellanseek::tools {

/// A list of controllers for people, and for programs, with how long it took to collect.
std::string ListingText(const std::vector<Controller>& controllers, double seconds, bool colours);
std::string ListingJson(const std::vector<Controller>& controllers, double seconds);

/// All of one controller for people.
std::string DetailText(const Controller& controller, bool colours);

}  // namespace kellanseek::tools
