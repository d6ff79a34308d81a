#include "events/EventItemsWorker.h"

#include <atomic>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "diagnostics/StartThread.h"
#include "diagnostics/StepTrace.h"
#include "diagnostics/UnitNames.h"
#include "events/EventData.h"
#include "platform/Clock.h"
#include "platform/Event.h"
#include "platform/GuardedCall.h"
#include "platform/LockOrder.h"

namespace kellanseek::events {
namespace {

/// Set in the failure codes of remote calls and of system errors, which mean that the sink has gone away.
constexpr std::uint32_t kSinkGoneBit = 0x00010000U;

/// The event record passed to a sink. Owns its text.
class SinkEvent {
 public:
  explicit SinkEvent(const QueuedEvent& event) {
    const EventText text({static_cast<std::int32_t>(event.lanSeekID),
                          static_cast<std::int32_t>(event.availability),
                          static_cast<std::int32_t>(event.reason)});
    record_.userDef = event.subscriber->userDef;
    VariantInit(&record_.data);
    record_.data.vt = VT_BSTR;
    record_.data.bstrVal = SysAllocStringLen(text.View().data(), static_cast<UINT>(text.View().size()));
    record_.time = platform::LocalFileTime();
  }
  ~SinkEvent() { VariantClear(&record_.data); }
  SinkEvent(const SinkEvent&) = delete;
  SinkEvent& operator=(const SinkEvent&) = delete;

  bool Complete() const { return record_.data.bstrVal != nullptr; }
  KelObjectEvent* Record() { return &record_; }

 private:
  KelObjectEvent record_ = {};
};

HRESULT CallSink(IKelObjectEvents& sink, KelObjectEvent* record) {
  platform::CheckNoLockHeld("calls a sink");
  HRESULT result = E_FAIL;
  const bool returned = platform::RunGuarded([&] { result = sink.Notify(record); });
  return returned ? result : E_FAIL;
}

void DropSubscriber(std::uint32_t cookie, CEventItemsDB& database, const diagnostics::Tracer& trace) {
  if (database.RemoveSubscriber(cookie) == S_OK) return;
  trace.Error(L"CEventItemsWorker::HandleEventLoop. Remove subscriber failed");
}

}  // namespace

/// State shared by the worker and its thread. Outlives the worker when a sink destroys the component from
/// inside Notify().
struct CEventItemsWorker::Run {
  platform::Event stop{platform::Event::Kind::ManualReset};
  /// Set before `stop`. If it is set when a sink call returns, worker and database may already be destroyed.
  std::atomic<bool> stopping{false};
  std::shared_ptr<const void> keepAlive;
};

CEventItemsWorker::CEventItemsWorker(CEventItemsDB& database, diagnostics::Journal& journal,
                                     platform::DebugOutput& debugOutput)
    : database_(database), journal_(journal), trace_(debugOutput, diagnostics::kEventWorkerUnit) {}

CEventItemsWorker::~CEventItemsWorker() { Stop(); }

void CEventItemsWorker::Start(std::shared_ptr<const void> keepAlive) {
  try {
    run_ = std::make_shared<Run>();
  } catch (const std::system_error& error) {
    trace_.LongError(L"LanSeek: Could not make the event that ends the thread KelEvents: %s", error.what());
    return;
  }
  run_->keepAlive = std::move(keepAlive);
  const auto deliver = [run = run_, trace = trace_, &database = database_] {
    HandleEventLoop(database, trace, *run);
  };
  diagnostics::StartThread(thread_, "KelEvents", deliver, {trace_, journal_});
}

void CEventItemsWorker::Stop() {
  if (!thread_.Running()) return;
  run_->stopping.store(true);
  run_->stop.Set();
  if (thread_.IsCurrent()) {
    thread_.Detach();
  } else {
    thread_.Join();
  }
}

void CEventItemsWorker::HandleEventLoop(CEventItemsDB& database, const diagnostics::Tracer& trace, Run& run) {
  constexpr std::size_t kQueueSignal = 1;
  diagnostics::StepTrace failed(trace, L"KelEvents");
  while (!run.stopping.load()) {
    const std::optional<QueuedEvent> event = database.GetNextEvent();
    if (!event) {
      if (!platform::WaitForAny({&run.stop, &database.QueueSignal()}).Signalled(kQueueSignal)) return;
      continue;
    }
    const auto deliver = [&] { Deliver(*event, database, trace, run); };
    if (event->subscriber->Wants(event->lanSeekID)) platform::RunStep(deliver, failed);
  }
}

void CEventItemsWorker::Deliver(const QueuedEvent& event, CEventItemsDB& database,
                                const diagnostics::Tracer& trace, const Run& run) {
  SinkEvent sinkEvent(event);
  if (!sinkEvent.Complete()) return;
  const HRESULT result = CallSink(*event.subscriber->sink.Get(), sinkEvent.Record());
  // A sink may have destroyed worker and database from inside Notify(); `run` then says so.
  const bool gone = result < 0 && (static_cast<std::uint32_t>(result) & kSinkGoneBit) != 0;
  if (gone && !run.stopping.load()) DropSubscriber(event.subscriber->cookie, database, trace);
}

}  // namespace kellanseek::events
