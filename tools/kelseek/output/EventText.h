#pragma once

#include <kellanseek/client.hpp>

#include <chrono>
#include <string>

namespace kellanseek::kelseek {

/// A time such as "2031-01-30T23:59:59.999".
std::string TimeText(const FILETIME& time);

/// The same of a moment in universal time: "2031-01-30T23:59:59.999Z".
std::string UtcText(std::chrono::system_clock::time_point time);

/// The column headings for EventLine().
std::string EventHeading(bool colours);

/// A change, which must not be a mark, as one line for the user, with its line end. Safe to print.
std::string EventLine(const client::Change& change, bool colours);

/// The same as one line of JSON: the controller with "time", "id" (the same in all events of a controller)
/// and, if known, "reason".
std::string JsonText(const client::Change& change);

}  // namespace kellanseek::kelseek
