#include "tools/kelsim/RandomLife.h"

namespace kellanseek::kelsim {
namespace {

constexpr Moment kPoweredDown{10'000};
/// Long enough for workstations with default settings to notice.
constexpr Moment kSilent{120'000};

}  // namespace

LifeEvent RandomLife::Event(Moment at, Action action, std::uint32_t number, const char* word) {
  LifeEvent event{at, action, number, number};
  event.description = word + (' ' + std::to_string(number));
  return event;
}

std::vector<LifeEvent> RandomLife::Next() {
  const Moment at = next_;
  next_ += period_;
  const auto number = static_cast<std::uint32_t>(first_ + random_() % count_);
  switch (random_() % 4) {
    case 0: {
      LifeEvent rename = Event(at, Action::Rename, number, "rename");
      rename.text = "Cell" + std::to_string(number) + " v" + std::to_string(++renamed_);
      rename.description += ' ' + rename.text;
      return {rename};
    }
    case 1: {
      LifeEvent restart = Event(at, Action::Restart, number, "restart");
      restart.value = kRestartMilliseconds;
      return {restart};
    }
    case 2:
      return {Event(at, Action::PowerDown, number, "power-down"),
              Event(at + kPoweredDown, Action::PowerUp, number, "power-up")};
    default:
      return {Event(at, Action::FallSilent, number, "silent"),
              Event(at + kSilent, Action::Speak, number, "speak")};
  }
}

}  // namespace kellanseek::kelsim
