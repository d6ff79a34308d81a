#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

#include "platform/Ipv4.h"

namespace kellanseek::kelseek {

/// The host addresses of a network, as numbers in host order.
struct ScanRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;

  std::uint64_t Size() const { return std::uint64_t{last} - first + 1; }
};

/// Reads "10.1.0.0/24", or an address alone. The address of the network and that of its broadcasts are left
/// out, unless the prefix is 31 or 32. Throws CommandError for another text, for addresses of no single host,
/// and for more than /16 has, unless `large` allows up to /8.
ScanRange ReadScanRange(std::string_view text, bool large);

/// Which address is asked when: one after the other, at a steady rate. A pure class; times are those since
/// the start.
class ScanSchedule {
 public:
  using Time = std::chrono::microseconds;

  /// `rate` is in questions a second, at least 1.
  ScanSchedule(ScanRange range, std::uint32_t rate);

  bool Done() const { return asked_ == range_.Size(); }
  std::uint64_t Asked() const { return asked_; }

  /// How long it is until the next question; 0 if it is due.
  Time UntilNext(Time now) const { return now < due_ ? due_ - now : Time(0); }
  /// The address that is asked next. There must be one.
  platform::Ipv4 Next() const;
  /// It has been asked. What could not be sent in time is made up for, but not in a flood: at most a tenth of
  /// a second's questions at once.
  void Advance(Time now);

 private:
  const ScanRange range_;
  const Time interval_;
  std::uint64_t asked_ = 0;
  Time due_{0};
};

}  // namespace kellanseek::kelseek
