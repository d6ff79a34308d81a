#pragma once

#include <kellanseek/client.hpp>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// The room for changes that wait for the output: more than the controllers of a large plant.
inline constexpr std::size_t kWaitingChanges = 65536;

/// A span of time that starts at construction. Waits end early if the user stops the program.
class TimeSpan {
 public:
  /// Without `seconds` the span ends only when the user stops the program.
  TimeSpan(Session& session, std::optional<double> seconds);

  /// Waits until the span ends.
  void WaitForEnd();
  /// Waits until `done()` returns true, testing it at once and whenever `changed` is set. Returns false if
  /// the span ended first.
  template <typename Done>
  bool WaitUntil(platform::Event& changed, Done done) {
    while (!done()) {
      if (!platform::WaitForAny({&session_.stop, &changed}, Left()).Signalled(1)) return done();
    }
    return true;
  }

  /// Calls `handle` for every change of a stream, until the span ends. Marks are not handed on.
  template <typename Handle>
  void Follow(client::ChangeStream& changes, Handle handle) {
    constexpr std::chrono::milliseconds kStopPoll(100);
    while (!session_.stop.TryWait() && Left().count() > 0) {
      const auto change = changes.next(std::min(Left(), kStopPoll));
      if (!change || change->type == client::ChangeType::Synced) continue;
      if (change->type == client::ChangeType::Resync) {
        ReportLoss();
      } else {
        handle(*change);
      }
    }
  }

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

/// "2.0 s".
std::string SecondsText(double seconds);

/// "1 controller", "2 controllers".
std::string Count(std::size_t number, const std::string& what);

}  // namespace kellanseek::kelseek
