#pragma once

#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>

namespace kellanseek::platform {

/// A flag that threads can wait for. A manual-reset event stays signalled until Reset(); an auto-reset event
/// is cleared by the wait that it ends. Thread-safe.
class Event {
 public:
  enum class Kind { ManualReset, AutoReset };

  explicit Event(Kind kind);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  void Set();
  void Reset();

  /// Tests the event without waiting. Like a wait, a successful test clears an auto-reset event.
  bool TryWait();
  /// Waits without a time-out.
  void Wait();

  /// The system object, for use inside this folder only.
  struct Native;
  Native& native() { return *native_; }

 private:
  std::unique_ptr<Native> native_;
};

/// The result of a wait for several events.
struct WaitResult {
  enum class Outcome { Signalled, TimedOut, Failed };
  Outcome outcome = Outcome::Failed;
  std::size_t index{};  ///< If signalled: index of the event that ended the wait.

  bool Signalled(std::size_t position) const { return outcome == Outcome::Signalled && index == position; }
};

/// Waits until one of at most eight events is signalled or the time-out passes (nullopt: none). If several
/// are signalled, the first in the list ends the wait and only that one is cleared.
WaitResult WaitForAny(std::initializer_list<Event*> events,
                      std::optional<std::chrono::milliseconds> timeout = std::nullopt);

}  // namespace kellanseek::platform
