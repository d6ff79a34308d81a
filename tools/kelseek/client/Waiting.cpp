#include "client/Waiting.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>

namespace kellanseek::kelseek {

namespace {

constexpr double kForever = 1e9;

}  // namespace

TimeSpan::TimeSpan(Session& session, std::optional<double> seconds)
    : session_(session),
      end_(begin_ + std::chrono::duration_cast<Clock::duration>(
                        std::chrono::duration<double>(seconds.value_or(kForever)))) {}

void TimeSpan::WaitForEnd() { platform::WaitForAny({&session_.stop}, Left()); }

double TimeSpan::Elapsed() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }

std::chrono::milliseconds TimeSpan::Left() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

void TimeSpan::ReportLoss() {
  std::cerr << "kelseek: the output is too slow; changes were lost, and the list follows again\n";
}

std::string SecondsText(double seconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f s", seconds);
  return text.data();
}

std::string Count(std::size_t number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

}  // namespace kellanseek::kelseek
