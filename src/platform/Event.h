#pragma once

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>

namespace kellanseek::platform {

/// A flag that threads wait for. A manual-reset event stays signalled until Reset(); an auto-reset event is
/// cleared by the one wait that it ends. All operations may be called from any thread.
class Event {
 public:
  enum class Kind { ManualReset, AutoReset };

  explicit Event(Kind kind);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set();
  void Reset();

  /// Tests the event without waiting; like a wait, a success clears an auto-reset event.
  bool TryWait();
  /// Waits without limit.
  void Wait();

  /// The system's own object, for the other parts of this floor only.
  struct Native;
  Native& native() { return *native_; }

 private:
  std::unique_ptr<Native> native_;
};

/// How a wait for several events ended.
struct WaitResult {
  enum class Outcome { Signalled, TimedOut, Failed };
  Outcome outcome = Outcome::Failed;
  std::size_t index = 0;  ///< Position of the event that ended the wait, when signalled.

  bool Signalled(std::size_t position) const { return outcome == Outcome::Signalled && index == position; }
};

/// Waits until one of the events is signalled, or until the time-out has passed (no time-out: without limit).
/// Of several signalled events the first in the list ends the wait, and only that one is cleared.
WaitResult WaitForAny(std::initializer_list<Event*> events,
                      std::optional<std::chrono::milliseconds> timeout = std::nullopt);

}  // namespace kellanseek::platform
