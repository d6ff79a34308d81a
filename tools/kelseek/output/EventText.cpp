#include "output/EventText.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "client/Text.h"
#include "output/Output.h"
#include "text/Ascii.h"

namespace kellanseek::kelseek {
namespace {

constexpr std::size_t kTimeColumns = 14;
constexpr std::size_t kReasonColumns = 21;
constexpr std::size_t kKindColumns = 10;
constexpr std::size_t kAddressColumns = 17;
constexpr std::size_t kNameColumns = 18;

std::string ReasonText(const Event& event) { return event.reason ? NameOf(*event.reason) : "known"; }

Colour ColourOf(const Event& event) {
  if (!event.reason) return Colour::Faint;
  switch (*event.reason) {
    case CtrlNew:
    case CtrlReconnected: return Colour::Green;
    case CtrlUpdated: return Colour::Cyan;
    case CtrlLostRestart:
    case CtrlLostPowerDown: return Colour::Yellow;
    case CtrlLostSystemIdCollision:
    case CtrlLostIPAddressCollision: return Colour::Magenta;
    case CtrlLostConnection:
    case CtrlLostLAN: return Colour::Red;
  }
  return Colour::Plain;
}

// The details of interest for this event.
std::string Detail(const Event& event) {
  const Controller& controller = event.controller;
  if (event.reason == CtrlUpdated) return event.before ? Changes(*event.before, controller) : "";
  if (controller.availability != CtrlAvailable) return NameOf(controller.availability);
  std::string detail = Printable(std::string_view(controller.systemID));
  if (!controller.version.empty()) detail += "  " + controller.version;
  if (controller.definition != DynamicCtrlDefinition)
    detail += std::string("  ") + NameOf(controller.definition);
  return detail;
}

// Keeps two blanks after a text that is too long for its column.
std::string Column(const std::string& text, std::size_t columns) { return Pad(text, columns - 2) + "  "; }

}  // namespace

std::string TimeText(const FILETIME& time) {
  using namespace std::chrono;
  using HundredNanoseconds = duration<std::int64_t, std::ratio<1, 10'000'000>>;
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

std::string EventHeading(bool colours) {
  return Paint(Column("TIME", kTimeColumns) + Column("EVENT", kReasonColumns) + Column("KIND", kKindColumns) +
                   Column("ADDRESS", kAddressColumns) + Column("NAME", kNameColumns) + "DETAIL",
               Colour::Bold, colours) +
         "\n";
}

std::string EventLine(const Event& event, bool colours) {
  const Controller& controller = event.controller;
  const std::string time = TimeText(event.time);
  const std::string rest = Column(NameOf(controller.kind), kKindColumns) +
                           Column(Printable(std::string_view(controller.address)), kAddressColumns) +
                           Column(Printable(std::string_view(controller.name)), kNameColumns) + Detail(event);
  return Paint(Column(time.substr(time.find('T') + 1), kTimeColumns), Colour::Faint, colours) +
         Paint(Column(ReasonText(event), kReasonColumns), ColourOf(event), colours) +
         std::string(text::TrimmedEnd(rest, " ")) + "\n";
}

std::string JsonText(const Event& event) {
  nlohmann::ordered_json json;
  json["time"] = TimeText(event.time);
  if (event.reason) json["reason"] = NameOf(*event.reason);
  json["id"] = event.controller.id;
  json.update(ToJson(event.controller));
  return JsonText(json);
}

}  // namespace kellanseek::kelseek
