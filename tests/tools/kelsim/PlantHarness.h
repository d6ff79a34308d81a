#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/MessageWriter.h"
#include "tools/kelsim/Plant.h"
#include "tools/kelsim/Script.h"

namespace kellanseek::kelsim {

/// Controllers 1 to `count` at 10.0.0.1 onwards.
inline std::vector<Controller> Controllers(std::uint32_t count) {
  std::vector<Controller> controllers;
  for (std::uint32_t number = 1; number <= count; ++number) {
    controllers.push_back(NewController(number));
    controllers.back().address = platform::NetworkOrder(0x0A000000U + number);
  }
  return controllers;
}

inline std::string Field(const std::string& datagram, const std::string& tag) {
  const std::size_t at = datagram.find(';' + tag + ':');
  if (at == std::string::npos) return {};
  const std::size_t begin = at + tag.size() + 2;
  return datagram.substr(begin, datagram.find(';', begin) - begin);
}

/// "ADDRESS says TYPE", followed by " to PORT" for a unicast.
inline std::string Summary(const Outgoing& datagram) {
  const std::size_t type = datagram.text.find(';', 8) + 1;
  std::string summary = Field(datagram.text, "e") + " says " + datagram.text.substr(type, 1);
  if (datagram.to) summary += " to " + std::to_string(datagram.to->port);
  return summary;
}

/// A plant with a simulated clock that records its datagrams.
class PlantHarness {
 public:
  explicit PlantHarness(std::vector<Controller> controllers, const Plant::Settings& settings = {})
      : last_(controllers.back().number), plant_(std::move(controllers), settings) {}

  void Script(const std::string& text) {
    kelsim::Script script({1, last_, true});
    script.AddText("script", text);
    for (const std::string& fault : script.Faults()) throw std::invalid_argument(fault);
    for (const LifeEvent& event : script.Events()) plant_.Schedule(event);
  }

  void Hear(const std::string& request, std::optional<Endpoint> from = std::nullopt) {
    plant_.Hear(ReadRequest(request).value(), 0, from, now);
  }

  /// Advances the clock and returns summaries of the datagrams sent until then.
  std::vector<std::string> Until(std::int64_t milliseconds) {
    std::vector<std::string> summaries;
    for (const Outgoing& datagram : DatagramsUntil(milliseconds)) summaries.push_back(Summary(datagram));
    return summaries;
  }

  std::vector<Outgoing> DatagramsUntil(std::int64_t milliseconds) {
    std::vector<Outgoing> all;
    const Moment end(milliseconds);
    for (auto due = plant_.NextDue(); due && *due <= end; due = plant_.NextDue()) {
      now = std::max(now, *due);
      plant_.Step(now, 16, outcome_);
      all.insert(all.end(), outcome_.datagrams.begin(), outcome_.datagrams.end());
    }
    now = end;
    return all;
  }

  Plant& plant() { return plant_; }

  Moment now{};

 private:
  std::uint32_t last_;
  Plant plant_;
  Outcome outcome_;
};

inline const std::string kFull = protocol::BuildRequest(MessageType::FullRequestMsg);
inline const std::string kRefresh = protocol::BuildRequest(MessageType::RefreshRequestMsg);

inline std::string Targeted(std::string_view address, std::string_view systemId = {}) {
  return protocol::BuildTargetedRequest(address, systemId);
}

}  // namespace kellanseek::kelsim
