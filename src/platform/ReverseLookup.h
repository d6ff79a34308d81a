#pragma once

#include <optional>
#include <string>

#include "platform/Ipv4.h"

namespace kellanseek::platform {

/// Finds host names. Callable from any thread.
class ReverseLookup {
 public:
  virtual ~ReverseLookup() = default;

  /// The host name of an address, in the ANSI code page; blocks as long as the name service takes. None when
  /// there is no name.
  virtual std::optional<std::string> HostName(Ipv4 address) = 0;
};

ReverseLookup& SystemReverseLookup();

}  // namespace kellanseek::platform
