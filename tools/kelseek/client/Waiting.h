#pragma once

#include <kellanseek/client.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// The room for changes that wait for the output: more than the controllers of a large plant.
inline constexpr std::size_t kWaitingChanges = 65536;

/// Seconds from the start in which added addresses may answer though everything else has been asked: longer
/// than a controller has by default, and it may have to be asked twice.
inline constexpr double kForAdded = 5;

/// A span of time that starts at construction. Waits end early if the user stops the program.
class TimeSpan {
 public:
  /// Without `seconds` the span ends only when the user stops the program.
  TimeSpan(Session& session, std::optional<double> seconds);

  /// Calls `handle` for every change of a stream, until the span ends, and again and again `meanwhile`, which
  /// is told whether the list is complete. The marks of the stream are not handed on. Returns whether the
  /// list was complete in the end.
  template <typename Handle>
  bool Follow(
      client::ChangeStream& changes, Handle handle,
      const std::function<void(bool isComplete)>& meanwhile = [](bool) {}) {
    constexpr std::chrono::milliseconds kStopPoll(100);
    bool isComplete = false;
    while (!session_.stop.TryWait() && Left().count() > 0) {
      meanwhile(isComplete);
      const auto change = changes.next(std::min(Left(), kStopPoll));
      if (!change) continue;
      if (change->type == client::ChangeType::Synced) {
        isComplete = true;
      } else if (change->type == client::ChangeType::Resync) {
        isComplete = false;
        ReportLoss();
      } else {
        handle(*change);
      }
    }
    return isComplete;
  }

  /// Waits for a moment. Returns false if the span has ended or the user stops the program.
  bool Pause(std::chrono::milliseconds moment);

  /// Seconds since the start.
  double Elapsed() const;

 private:
  using Clock = std::chrono::steady_clock;
  std::chrono::milliseconds Left() const;
  static void ReportLoss();

  Session& session_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point end_;
};

/// A wait for a list of controllers, and what ended it.
struct Waited {
  double seconds = 0;
  /// What ended it, for the user; empty if that was the time that they gave.
  std::string until = {};
  /// Whether everything had been asked once. None: the component is too old to tell.
  std::optional<bool> complete = {};

  /// "4.3 s, until everything was asked once".
  std::string Text() const;
};

/// Waits for the given time or, without one, until everything has been asked once, which is limited to half a
/// minute. `done` is tested again and again, and ends the wait when it returns true. Addresses that were
/// added may be asked after everything else: without a given time, the wait lasts kForAdded seconds until
/// `answered` says that they have answered.
Waited WaitForList(Session& session, const client::Client& client, std::optional<double> seconds,
                   const std::function<bool()>& answered, const std::function<bool()>& done = {});

/// "2.0 s".
std::string SecondsText(double seconds);

/// "1 controller", "2 controllers"; `many` is the plural if it is irregular.
std::string Count(std::uint64_t number, const std::string& what, const std::string& many = {});

}  // namespace kellanseek::kelseek
