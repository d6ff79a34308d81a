#include "client/ScanSchedule.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>

#include <kellanseek/client.hpp>

#include "client/Session.h"
#include "client/Text.h"

namespace kellanseek::kelseek {
namespace {

constexpr std::uint32_t kUsualPrefix = 16;
constexpr std::uint32_t kShortestPrefix = 8;

[[noreturn]] void Refuse(std::string_view text, const std::string& why) {
  throw CommandError(kWrongUse, "\"" + Printable(text) + "\"" + why);
}

/// Reads a decimal number up to `most` and removes it from the text.
std::optional<std::uint32_t> TakeNumber(std::string_view& text, std::uint32_t most) {
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || number > most) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
  return number;
}

}  // namespace

ScanRange ReadScanRange(std::string_view text, bool large) {
  std::string_view rest = text;
  std::uint32_t address = 0;
  std::optional<std::uint32_t> number;
  for (int part = 0; part < 4; ++part) {
    if (part > 0 && !rest.starts_with('.')) Refuse(text, " is not a network like 10.1.0.0/24");
    if (part > 0) rest.remove_prefix(1);
    number = TakeNumber(rest, 255);
    if (!number) Refuse(text, " is not a network like 10.1.0.0/24");
    address = address << 8 | *number;
  }
  std::uint32_t prefix = 32;
  if (rest.starts_with('/')) {
    rest.remove_prefix(1);
    number = TakeNumber(rest, 32);
    if (!number) Refuse(text, " is not a network like 10.1.0.0/24");
    prefix = *number;
  }
  if (!rest.empty()) Refuse(text, " is not a network like 10.1.0.0/24");
  if (prefix < kShortestPrefix) Refuse(text, " is too large; /8 is the most that is possible");
  if (prefix < kUsualPrefix && !large)
    Refuse(text, " has " + std::to_string(std::uint64_t{1} << (32 - prefix)) +
                     " addresses, more than a /16; ask for parts of it, or say --yes");
  const std::uint32_t mask = ~std::uint32_t{0} << (32 - prefix);
  // Nobody's address, and those of groups.
  if (address >> 24 == 0 || address >= 0xE0000000U) Refuse(text, " has no addresses of single hosts");
  ScanRange range{address & mask, address | ~mask};
  if (prefix <= 30) {
    ++range.first;
    --range.last;
  }
  return range;
}

ScanSchedule::ScanSchedule(ScanRange range, std::uint32_t rate)
    : range_(range), interval_(Time(std::chrono::seconds(1)) / std::max(rate, 1U)) {}

platform::Ipv4 ScanSchedule::Next() const {
  return platform::NetworkOrder(range_.first + static_cast<std::uint32_t>(asked_));
}

void ScanSchedule::Advance(Time now) {
  constexpr Time kMost = std::chrono::milliseconds(100);
  ++asked_;
  due_ = std::max(due_, now - kMost) + interval_;
}

}  // namespace kellanseek::kelseek
