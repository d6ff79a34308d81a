#pragma once

#include <functional>

#include "diagnostics/Journal.h"
#include "diagnostics/Trace.h"
#include "platform/Thread.h"

namespace kellanseek::diagnostics {

/// Where the start of the component's threads is told.
struct ThreadWitness {
  const Tracer& trace;
  Journal& journal;
};

/// Starts a thread of the component. If the system refuses, traces the thread's name and the reason and
/// returns false: the component works without that thread.
bool StartThread(platform::Thread& thread, const char* name, std::function<void()> body,
                 const ThreadWitness& witness,
                 platform::ThreadUrgency urgency = platform::ThreadUrgency::Normal);

}  // namespace kellanseek::diagnostics
