#pragma once

#include <memory>

#include "diagnostics/Journal.h"
#include "diagnostics/Trace.h"
#include "events/EventItemsDB.h"
#include "platform/DebugOutput.h"
#include "platform/Thread.h"

namespace kellanseek::events {

/// The thread that delivers queued events to the sinks, one at a time. Start() and Stop() are not
/// thread-safe.
class CEventItemsWorker {
 public:
  /// `database` and `journal` must outlive the worker, `debugOutput` also the thread.
  CEventItemsWorker(CEventItemsDB& database, diagnostics::Journal& journal,
                    platform::DebugOutput& debugOutput);
  /// Stops the thread if it still runs.
  ~CEventItemsWorker();
  CEventItemsWorker(const CEventItemsWorker&) = delete;
  CEventItemsWorker& operator=(const CEventItemsWorker&) = delete;

  /// Starts the thread, or traces the reason if the system has no thread or no event left.
  /// `keepAlive` is released when the thread ends, possibly after the worker's destruction.
  void Start(std::shared_ptr<const void> keepAlive);

  /// Ends the thread after the running sink call, if any; queued events stay in the queue. Returns when the
  /// thread has ended. If a sink calls it, on the thread itself, it returns at once; the thread then ends
  /// after that call without using the worker or the database.
  void Stop();

 private:
  struct Run;

  static void HandleEventLoop(CEventItemsDB& database, const diagnostics::Tracer& trace, Run& run);
  static void Deliver(const QueuedEvent& event, CEventItemsDB& database, const diagnostics::Tracer& trace,
                      const Run& run);

  CEventItemsDB& database_;
  diagnostics::Journal& journal_;
  diagnostics::Tracer trace_;
  std::shared_ptr<Run> run_;
  platform::Thread thread_;
};

}  // namespace kellanseek::events
