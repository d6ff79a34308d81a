#pragma once

#include <kellanseek/client.hpp>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "doctor/Facts.h"

namespace kellanseek::kelseek {

/// Follows the list for controllers that displace each other because they report the same MAC address.
class SharedMacs {
 public:
  explicit SharedMacs(const client::Client& client) : changes_(client.changes()) {}

  /// Takes the changes that have come since the last call.
  void Look();
  const std::vector<SharedMac>& Found() const { return found_; }

 private:
  void Take(const client::Change& change);

  std::optional<client::ChangeStream> changes_;  ///< None once there are too many to be followed.
  std::size_t taken_ = 0;
  std::map<std::string, client::Controller> displaced_;  ///< By MAC address.
  std::vector<SharedMac> found_;
};

}  // namespace kellanseek::kelseek
