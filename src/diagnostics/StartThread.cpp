#include "diagnostics/StartThread.h"

#include <string>
#include <system_error>
#include <utility>

namespace kellanseek::diagnostics {

bool StartThread(platform::Thread& thread, const char* name, std::function<void()> body,
                 const ThreadWitness& witness, platform::ThreadUrgency urgency) {
  const std::error_code error = thread.Start(name, std::move(body), urgency);
  witness.journal.ThreadStarted(name, error ? error.message() : std::string());
  if (!error) return true;
  witness.trace.LongError(L"LanSeek: Could not start the thread %s: %s", name, error.message());
  return false;
}

}  // namespace kellanseek::diagnostics
