#pragma once

#include <cstdint>
#include <span>

#include "config/Settings.h"

namespace kellanseek::config {

/// One number in the scan configuration file: the name of its element, and the field that it sets.
struct NumericElement {
  enum class Kind { Port, Seconds, Count, Flag };

  const wchar_t* name;
  Kind kind;
  void (*store)(CKelLanSeekConfigSettings& settings, std::int32_t number);
  std::int32_t (*value)(const CKelLanSeekConfigSettings& settings);
  std::int32_t least;  ///< The range that makes sense; others are stored all the same.
  std::int32_t most;
  const wchar_t* meaning;  ///< For people, one sentence.
};

/// The numbers under "CommunicationSettings", in the order in which they are read.
std::span<const NumericElement> CommunicationElements();

/// The number directly under the root.
const NumericElement& DetectInterfaceChangesElement();

/// Stores a number as the element wants it: flags become 0 or 1.
void Store(const NumericElement& element, std::int32_t number, CKelLanSeekConfigSettings& settings);

}  // namespace kellanseek::config
