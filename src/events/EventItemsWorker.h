#pragma once

#include <memory>

#include "diagnostics/Trace.h"
#include "events/EventItemsDB.h"
#include "platform/DebugOutput.h"
#include "platform/Thread.h"

namespace kellanseek::events {

/// The thread that hands queued events to the sinks, one at a time. Start() and Stop() are not for use by
/// several threads at once.
class CEventItemsWorker {
 public:
  /// `database` outlives the worker, `debugOutput` also its thread.
  CEventItemsWorker(CEventItemsDB& database, platform::DebugOutput& debugOutput);
  /// Stops what still runs.
  ~CEventItemsWorker();
  CEventItemsWorker(const CEventItemsWorker&) = delete;
  CEventItemsWorker& operator=(const CEventItemsWorker&) = delete;

  /// Starts the thread; false, and traced, when the system has none or no event for it. `keepAlive` is held
  /// until the thread has ended, which may be after the worker's own end.
  bool Start(std::shared_ptr<const void> keepAlive);

  /// Ends the thread after the sink call that is under way, if any; events still queued stay in the queue.
  /// Returns when the thread has ended. Called from inside a sink, on the thread itself, it returns at once,
  /// and the thread ends after that call without touching the worker or the database any more.
  void Stop();

 private:
  struct Run;

  static void HandleEventLoop(CEventItemsDB& database, const diagnostics::Tracer& trace, Run& run);
  static void Deliver(const QueuedEvent& event, CEventItemsDB& database, const diagnostics::Tracer& trace,
                      const Run& run);

  CEventItemsDB& database_;
  diagnostics::Tracer trace_;
  std::shared_ptr<Run> run_;
  platform::Thread thread_;
};

}  // namespace kellanseek::events
