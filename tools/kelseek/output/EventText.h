#pragma once

#include <kellanseek/client.hpp>

#include <chrono>
#include <string>

#include "output/Output.h"

namespace kellanseek::kelseek {

/// Why a change, which must not be a mark, was reported: "lost-connection". "known" for a controller that was
/// silent when it was listed.
std::string ReasonText(const client::Change& change);
/// The colour in which the change is shown.
Colour ReasonColour(const client::Change& change);
/// The details of interest for this event. Safe to print.
std::string EventDetail(const client::Change& change);

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
