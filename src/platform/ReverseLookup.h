#pragma once

#include <optional>
#include <string>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// Looks up host names. Thread-safe.
class ReverseLookup {
 public:
  virtual ~ReverseLookup() = default;

  /// The host name of an address, in the ANSI code page; nullopt if it has none. Blocks until the name
  /// service answers, possibly for many seconds.
  virtual std::optional<std::string> HostName(Ipv4 address) = 0;
};

ReverseLookup& SystemReverseLookup();

}  // namespace kellanseek::platform
