#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/Ipv4.h"
#include "tools/kelsim/Controller.h"
#include "tools/kelsim/LifeEvent.h"

namespace kellanseek::kelsim {

/// The controller of `kelsim --hello` at an address of this host, whose name is `host` (UTF-8).
Controller HelloController(const std::string& host, platform::Ipv4 address, std::uint32_t number);

/// Remembers whose broadcasts each hello has heard, and makes the events that put it into its system name. A
/// pure class: it knows the time only from its caller.
class HelloLog {
 public:
  /// For the hellos with the numbers `first` to `first + count - 1`, in the order of their speakers.
  HelloLog(std::uint32_t first, std::size_t count) : first_(first), heard_(count) {}

  /// A broadcast arrived. Returns an event if that is news.
  std::optional<LifeEvent> Heard(std::size_t speaker, platform::Ipv4 source, Moment now);
  /// Forgets what is too old. Returns an event for each hello that this changes.
  std::vector<LifeEvent> Forget(Moment now);

  /// When the hellos announce themselves next.
  Moment NextAnnouncement() const { return nextAnnouncement_; }
  void Announced(Moment now);

 private:
  struct Source {
    platform::Ipv4 address = 0;
    Moment last = {};
  };
  LifeEvent EventOf(std::size_t speaker, Moment now) const;

  const std::uint32_t first_;
  std::vector<std::vector<Source>> heard_;  ///< By speaker, the latest first.
  Moment nextAnnouncement_{};
};

}  // namespace kellanseek::kelsim
