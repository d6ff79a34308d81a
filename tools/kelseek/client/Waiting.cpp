#include "client/Waiting.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iostream>

namespace kellanseek::kelseek {

namespace {

constexpr double kForever = 1e9;
/// Longer than a sweep takes, unless hundreds of configured controllers are switched off.
constexpr double kLongest = 30;
/// For a component that does not tell when everything has been asked.
constexpr double kWithoutSweeps = 2;
constexpr std::chrono::milliseconds kPoll(50);

/// How often everything has been asked; none if the component is too old to tell.
std::optional<std::uint32_t> SweepsOf(const client::Client& client) {
  try {
    return client.sweeps();
  } catch (const client::Error& error) {
    if (error.code() != E_NOINTERFACE) throw;
    return std::nullopt;
  }
}

}  // namespace

TimeSpan::TimeSpan(Session& session, std::optional<double> seconds)
    : session_(session),
      end_(begin_ + std::chrono::duration_cast<Clock::duration>(
                        std::chrono::duration<double>(seconds.value_or(kForever)))) {}

bool TimeSpan::Pause(std::chrono::milliseconds moment) {
  const auto left = Left();
  return left.count() > 0 && !platform::WaitForAny({&session_.stop}, std::min(left, moment)).Signalled(0);
}

double TimeSpan::Elapsed() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }

std::chrono::milliseconds TimeSpan::Left() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

void TimeSpan::ReportLoss() {
  std::cerr << "kelseek: the output is too slow; changes were lost, and the list follows again\n";
}

std::string Waited::Text() const { return SecondsText(seconds) + (until.empty() ? "" : ", " + until); }

Waited WaitForList(Session& session, const client::Client& client, std::optional<double> seconds,
                   const std::function<bool()>& answered, const std::function<bool()>& done) {
  const double limit = SweepsOf(client) ? kLongest : kWithoutSweeps;
  TimeSpan waiting(session, seconds.value_or(limit));
  Waited waited;
  while (true) {
    // Before the test, so that it sees everything that the sweep has found.
    const auto sweeps = SweepsOf(client);
    if (sweeps) waited.complete = *sweeps > 0;
    if (done && done()) break;
    if (!seconds && waited.complete.value_or(false) && (answered() || waiting.Elapsed() >= kForAdded)) {
      waited.until = "until everything was asked once";
      break;
    }
    if (waiting.Pause(kPoll)) continue;
    if (session.stop.TryWait()) {
      waited.until = "until it was stopped";
    } else if (!seconds && waited.complete) {
      waited.until = "and not everything was asked yet";
    }
    break;
  }
  waited.seconds = waiting.Elapsed();
  return waited;
}

std::string SecondsText(double seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f s", seconds);
  return text.data();
}

std::string Count(std::uint64_t number, const std::string& what, const std::string& many) {
  return std::to_string(number) + " " + (number == 1 ? what : many.empty() ? what + "s" : many);
}

}  // namespace kellanseek::kelseek
