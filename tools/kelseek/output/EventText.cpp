#include "output/EventText.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "client/Text.h"
#include "output/ControllerText.h"
#include "output/Output.h"
#include "platform/Clock.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

using client::Availability;
using client::Change;
using client::Controller;
using client::Reason;

using HundredNanoseconds = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr std::size_t kTimeColumns = 14;
constexpr std::size_t kReasonColumns = 21;
constexpr std::size_t kKindColumns = 10;
constexpr std::size_t kAddressColumns = 17;
constexpr std::size_t kNameColumns = 18;

/// A controller that was available when it was listed is as good as new. None for one that was silent.
std::optional<Reason> ReasonOf(const Change& change) {
  if (change.reason || change.type != client::ChangeType::Listed) return change.reason;
  const bool available = change.controller.availability == Availability::Available;
  return available ? std::optional(Reason::New) : std::nullopt;
}

Colour ColourOf(std::optional<Reason> reason) {
  if (!reason) return Colour::Faint;
  switch (*reason) {
    case Reason::New:
    case Reason::Reconnected: return Colour::Green;
    case Reason::Updated: return Colour::Cyan;
    case Reason::Restart:
    case Reason::PowerDown: return Colour::Yellow;
    case Reason::SystemIdCollision:
    case Reason::AddressCollision: return Colour::Magenta;
    case Reason::LostConnection:
    case Reason::LostLan: return Colour::Red;
  }
  return Colour::Plain;
}

// The system knows the local time of now only.
FILETIME LocalTime(std::chrono::system_clock::time_point time) {
  const auto age = std::chrono::duration_cast<HundredNanoseconds>(std::chrono::system_clock::now() - time);
  const FILETIME now = platform::LocalFileTime();
  const auto ticks =
      (std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime) - static_cast<std::uint64_t>(age.count());
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Keeps two blanks after a text that is too long for its column.
std::string Column(const std::string& text, std::size_t columns) { return Pad(text, columns - 2) + "  "; }

}  // namespace

std::string ReasonText(const Change& change) {
  const std::optional<Reason> reason = ReasonOf(change);
  return reason ? to_string(*reason) : "known";
}

Colour ReasonColour(const Change& change) { return ColourOf(ReasonOf(change)); }

std::string EventDetail(const Change& change) {
  const Controller& controller = change.controller;
  if (change.reason == Reason::Updated) return change.before ? Changes(*change.before, controller) : "";
  if (controller.availability != Availability::Available) return to_string(controller.availability);
  std::string detail = Printable(controller.identity);
  if (controller.version) detail += "  " + to_string(*controller.version);
  if (controller.origin != client::Origin::Dynamic) detail += "  " + to_string(controller.origin);
  return detail;
}

std::string TimeText(const FILETIME& time) {
  using namespace std::chrono;
  const HundredNanoseconds since1601(static_cast<std::int64_t>(time.dwHighDateTime) << 32 |
                                     time.dwLowDateTime);
  const auto moment = sys_days(year(1601) / January / 1) + floor<milliseconds>(since1601);
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss clock(moment - day);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text.data();
}

std::string UtcText(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  // In nanoseconds, the time since 1601 would not fit.
  const auto since1601 = floor<HundredNanoseconds>(time) - sys_days(year(1601) / January / 1);
  const auto ticks = static_cast<std::uint64_t>(since1601.count());
  return TimeText({static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}) + "Z";
}

std::string EventHeading(bool colours) {
  return Paint(Column("TIME", kTimeColumns) + Column("EVENT", kReasonColumns) + Column("KIND", kKindColumns) +
                   Column("ADDRESS", kAddressColumns) + Column("NAME", kNameColumns) + "DETAIL",
               Colour::Bold, colours) +
         "\n";
}

std::string EventLine(const Change& change, bool colours) {
  const Controller& controller = change.controller;
  const std::string time = TimeText(LocalTime(change.time));
  const std::string rest = Column(to_string(controller.kind), kKindColumns) +
                           Column(Printable(controller.address), kAddressColumns) +
                           Column(Printable(controller.name), kNameColumns) + EventDetail(change);
  return Paint(Column(time.substr(time.find('T') + 1), kTimeColumns), Colour::Faint, colours) +
         Paint(Column(ReasonText(change), kReasonColumns), ReasonColour(change), colours) +
         std::string(text::TrimmedEnd(rest, " ")) + "\n";
}

std::string JsonText(const Change& change) {
  nlohmann::ordered_json json = {{"v", kJsonVersion}, {"time", UtcText(change.time)}};
  if (const auto reason = ReasonOf(change)) json["reason"] = to_string(*reason);
  json["id"] = change.controller.id;
  json.update(ToJson(change.controller));
  return JsonText(json);
}

}  // namespace kellanseek::kelseek
