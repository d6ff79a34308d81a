#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/Ipv4.h"

namespace CLI {
class App;
}

namespace kellanseek::kelsim {

/// The program's options.
struct Options {
  std::uint32_t count = 25;
  std::uint32_t first = 1;
  std::optional<std::string> interfaceName = {};
  std::optional<platform::Ipv4> address = {};
  std::vector<platform::Ipv4> listen = {};
  std::optional<platform::Ipv4> baseAddress = {};
  bool ownAddress = false;
  bool hello = false;  ///< One controller at every address of this host, for a test of the way.

  std::uint16_t requestPort = 5512;
  std::uint16_t responsePort = 5513;
  std::uint16_t nonLocalPort = 5514;  ///< 0: no polls.

  std::uint32_t delayMilliseconds = 500;
  std::uint32_t seed = 1;
  std::uint32_t lossPercent = 0;
  bool announce = true;
  bool quiet = false;
  double lifeSeconds = 0;  ///< Interval; 0: no random events.
  std::optional<std::string> script = {};
  std::vector<std::string> events = {};
};

/// Reads the arguments, in UTF-8 and without the program's name. Returns nullopt if the program should exit
/// with `exitCode`: after printing the help, or an error in the usage.
std::optional<Options> ReadOptions(const std::vector<std::string>& arguments, int& exitCode);

/// Calls `reader` with the definitions of the options, of which the manual and the completion are made.
void DescribeOptions(const std::function<void(const CLI::App&)>& reader);

}  // namespace kellanseek::kelsim
