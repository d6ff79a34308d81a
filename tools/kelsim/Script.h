#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kelsim/LifeEvent.h"

namespace kellanseek::kelsim {

/// Parses scripted events, one per line: "TIME ACTION CONTROLLER [ARGUMENT]".
class Script {
 public:
  /// The plant that the script is for.
  struct Subject {
    std::uint32_t first = 1;  ///< Numbers of the plant's controllers.
    std::uint32_t last = 1;
    bool movable = true;  ///< The controllers' addresses may change.
  };

  explicit Script(const Subject& subject) : subject_(subject) {}

  /// Adds the events of a text in UTF-8. Errors are added to Faults() as "NAME:LINE: REASON".
  void AddText(const std::string& name, std::string_view text);
  /// Adds the event of a single line. An error is added as "NAME: REASON".
  void AddLine(const std::string& name, std::string_view line);

  const std::vector<LifeEvent>& Events() const { return events_; }
  const std::vector<std::string>& Faults() const { return faults_; }

 private:
  void Take(const std::string& place, std::string_view line);
  LifeEvent ReadEvent(std::string_view line);
  Moment ReadTime(const std::string& word) const;
  void ReadControllers(const std::string& word, LifeEvent& event) const;
  std::uint32_t ReadNumber(const std::string& word) const;
  void ReadArgument(const std::string& argument, LifeEvent& event) const;
  void RequireMovable() const;
  void ReadAddress(const std::string& argument, LifeEvent& event) const;

  Subject subject_;
  Moment previous_ = {};
  std::vector<LifeEvent> events_;
  std::vector<std::string> faults_;
};

}  // namespace kellanseek::kelsim
