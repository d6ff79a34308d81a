#pragma once

#include <chrono>
#include <string>

#include "client/Session.h"

namespace kellanseek::kelseek {

/// A span of time that starts at construction. Waits end early if the user stops the program.
class TimeSpan {
 public:
  TimeSpan(Session& session, double seconds);

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

  /// Seconds since the start.
  double Elapsed() const;

 private:
  using Clock = std::chrono::steady_clock;
  std::chrono::milliseconds Left() const;

  Session& session_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point end_;
};

/// "2.0 s".
std::string SecondsText(double seconds);

/// "1 controller", "2 controllers".
std::string Count(std::size_t number, const std::string& what);

}  // namespace kellanseek::kelseek
