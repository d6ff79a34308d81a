#include "tools/kelsim/Script.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <stdexcept>

#include "text/Ascii.h"
#include "tools/kelsim/Text.h"

namespace kellanseek::kelsim {
namespace {

enum class Argument { None, Duration, Text, Address, Controller, Percent };

struct Verb {
  std::string_view word;
  Action action;
  Argument argument;
};

constexpr Verb kVerbs[] = {
    {"announce", Action::Announce, Argument::None},
    {"restart", Action::Restart, Argument::Duration},
    {"power-down", Action::PowerDown, Argument::None},
    {"power-up", Action::PowerUp, Argument::None},
    {"silent", Action::FallSilent, Argument::None},
    {"speak", Action::Speak, Argument::None},
    {"rename", Action::Rename, Argument::Text},
    {"system", Action::SetSystemName, Argument::Text},
    {"release", Action::SetReleasePath, Argument::Text},
    {"identity", Action::SetSystemId, Argument::Text},
    {"mac", Action::SetMacAddress, Argument::Text},
    {"address", Action::SetAddress, Argument::Address},
    {"same-address", Action::ShareAddress, Argument::Controller},
    {"same-identity", Action::ShareSystemId, Argument::Controller},
    {"loss", Action::SetLoss, Argument::Percent},
};

constexpr std::string_view kBlanks = " \t\r";

std::invalid_argument Fault(const std::string& what) { return std::invalid_argument(what); }

std::string Quoted(std::string_view word) { return std::string("\"").append(word).append("\""); }

std::string TakeWord(std::string_view& rest) {
  const std::size_t end = std::min(rest.find_first_of(kBlanks), rest.size());
  std::string word(rest.substr(0, end));
  rest = text::Trimmed(rest.substr(end), kBlanks);
  return word;
}

template <typename Number>
std::optional<Number> ReadWhole(std::string_view word) {
  Number value{};
  const auto read = std::from_chars(word.data(), word.data() + word.size(), value);
  if (read.ec != std::errc() || read.ptr != word.data() + word.size()) return std::nullopt;
  return value;
}

Moment ReadSeconds(std::string_view word, std::string_view whole) {
  constexpr double kMost = 1e6;
  const auto seconds = ReadWhole<double>(word);
  // The condition is negated so that NaN fails too.
  if (!seconds || !(*seconds >= 0 && *seconds <= kMost)) {
    throw Fault(Quoted(whole) + " is not a time in seconds from 0 to 1000000");
  }
  return Moment(std::llround(*seconds * 1000));
}

const Verb& VerbOf(Action action) {
  return *std::find_if(std::begin(kVerbs), std::end(kVerbs),
                       [&](const Verb& verb) { return verb.action == action; });
}

Action ReadAction(std::string_view word) {
  std::string known;
  for (const Verb& verb : kVerbs) {
    if (verb.word == word) return verb.action;
    known.append(known.empty() ? "" : ", ").append(verb.word);
  }
  throw Fault(word.empty() ? "an action is missing after the time"
                           : "unknown action " + Quoted(word) + "; the actions are " + known);
}

}  // namespace

void Script::AddText(const std::string& name, std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    Take(name + ':' + std::to_string(number), text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void Script::AddLine(const std::string& name, std::string_view line) { Take(name, line); }

void Script::Take(const std::string& place, std::string_view line) {
  line = text::Trimmed(line, kBlanks);
  if (line.empty() || line.front() == '#') return;
  try {
    events_.push_back(ReadEvent(line));
    previous_ = events_.back().at;
  } catch (const std::invalid_argument& fault) {
    faults_.push_back(place + ": " + fault.what());
  }
}

LifeEvent Script::ReadEvent(std::string_view line) {
  LifeEvent event;
  event.at = ReadTime(TakeWord(line));
  event.description = line;
  event.action = ReadAction(TakeWord(line));
  ReadControllers(TakeWord(line), event);
  ReadArgument(std::string(line), event);
  return event;
}

Moment Script::ReadTime(const std::string& word) const {
  const std::string_view text = word;
  if (text.starts_with('+')) return previous_ + ReadSeconds(text.substr(1), word);
  return ReadSeconds(text, word);
}

void Script::ReadControllers(const std::string& word, LifeEvent& event) const {
  if (word == "all") {
    event.first = subject_.first;
    event.last = subject_.last;
    return;
  }
  const std::size_t hyphen = word.find('-');
  event.first = ReadNumber(word.substr(0, hyphen));
  event.last = hyphen == std::string::npos ? event.first : ReadNumber(word.substr(hyphen + 1));
  if (event.last < event.first) throw Fault("the range " + Quoted(word) + " ends before it begins");
}

std::uint32_t Script::ReadNumber(const std::string& word) const {
  const auto number = ReadWhole<std::uint32_t>(word);
  if (number && *number >= subject_.first && *number <= subject_.last) return *number;
  throw Fault((word.empty() ? "a controller is missing" : Quoted(word) + " is not a controller") +
              "; the controllers are " + std::to_string(subject_.first) + " to " +
              std::to_string(subject_.last) + ", ranges like 3-7, and all");
}

void Script::ReadArgument(const std::string& argument, LifeEvent& event) const {
  const Verb& verb = VerbOf(event.action);
  switch (verb.argument) {
    case Argument::None:
      if (!argument.empty()) throw Fault(Quoted(verb.word) + " takes no argument after the controller");
      return;
    case Argument::Duration:
      event.value = argument.empty() ? kRestartMilliseconds
                                     : static_cast<std::uint32_t>(ReadSeconds(argument, argument).count());
      return;
    case Argument::Text: event.text = FieldText(argument); return;
    case Argument::Address: ReadAddress(argument, event); return;
    case Argument::Controller:
      if (event.action == Action::ShareAddress) RequireMovable();
      event.value = ReadNumber(argument);
      return;
    case Argument::Percent: {
      const auto percent = ReadWhole<std::uint32_t>(argument);
      if (!percent || *percent > 100) throw Fault(Quoted(argument) + " is not a percentage from 0 to 100");
      event.value = *percent;
      return;
    }
  }
}

void Script::RequireMovable() const {
  if (!subject_.movable) throw Fault("these controllers have addresses of this host, which cannot change");
}

void Script::ReadAddress(const std::string& argument, LifeEvent& event) const {
  RequireMovable();
  event.value = DottedAddress(argument);
  const std::uint32_t more = event.last - event.first;
  if (platform::HostOrder(platform::kNoAddress) - platform::HostOrder(event.value) <= more) {
    throw Fault("too few addresses from " + argument + " on");
  }
}

}  // namespace kellanseek::kelsim
