#pragma once

#include <string>
#include <vector>

#include <kellanseek/client.hpp>

#include "doctor/Facts.h"

namespace kellanseek::kelseek {

/// Broadcasts of this host that should be heard on it: a quick try, for when nobody was found. Takes at most
/// a quarter of a second. Needs no SocketLibrary.
std::vector<Echo> QuickEchoes(const nlohmann::json& report);

/// For people who see no controller: that others are known, which they have not chosen, or the most likely
/// cause, with a pointer to the doctor. One line.
std::string WhyNothingFound(const client::Client& client);

}  // namespace kellanseek::kelseek
