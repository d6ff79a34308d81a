#pragma once

#include <string>

#include "client/Listener.h"

namespace kellanseek::tools {

/// "2031-01-30T23:59:59.999".
std::string TimeText(const FILETIME& time);

/// The headings of the lines that EventLine gives.
std::string EventHeading(bool colours);

/// An event for people: one line with its end, safe to print.
std::string EventLine(const Event& event, bool colours);

/// An event for programs: the controller's JSON in one line, with "time", "id" (the same in all events of one
/// controller) and, where there is one, "reason".
std::string JsonText(const Event& event);

}  // namespace kellanseek::tools
