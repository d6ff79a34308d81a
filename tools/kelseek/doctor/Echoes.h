#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

#include "doctor/Facts.h"

namespace kellanseek::kelseek {

/// Sends a broadcast from a socket of its own on each of the first networks in use, at most `most`, and tells
/// whether other sockets of this host hear it on the ports of the search. Takes milliseconds if all do, and
/// `patience` for every eight networks of which one does not. Needs a SocketLibrary.
std::vector<Echo> TryEchoes(const nlohmann::json& report, std::chrono::milliseconds patience,
                            std::size_t most);

}  // namespace kellanseek::kelseek
