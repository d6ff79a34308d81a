#pragma once

#include <string>

#include "client/Listener.h"

namespace kellanseek::kelseek {

/// A time such as "2031-01-30T23:59:59.999".
std::string TimeText(const FILETIME& time);

/// The column headings for EventLine().
std::string EventHeading(bool colours);

/// An event as one line for the user, with its line end. Safe to print.
std::string EventLine(const Event& event, bool colours);

/// An event as one line of JSON: the controller with "time", "id" (the same in all events of a controller)
/// and, if known, "reason".
std::string JsonText(const Event& event);

}  // namespace kellanseek::kelseek
