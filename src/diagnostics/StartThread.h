#pragma once

#include <functional>

#include "diagnostics/Trace.h"
#include "platform/Thread.h"

namespace kellanseek::diagnostics {

/// Starts a thread of the component. False when the system has none, which is traced with the thread's name
/// and the system's reason: the component does without it.
bool StartThread(platform::Thread& thread, const char* name, std::function<void()> body, const Tracer& trace,
                 platform::ThreadUrgency urgency = platform::ThreadUrgency::Normal);

}  // namespace kellanseek::diagnostics
