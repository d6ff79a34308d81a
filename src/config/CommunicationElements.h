#pragma once

#include <cstdint>
#include <span>

#include "config/Settings.h"

namespace kellanseek::config {

/// A numeric element of the scan configuration file and the settings field it fills.
struct NumericElement {
  enum class Kind { Port, Seconds, Count, Flag };

  const wchar_t* name;
  Kind kind;
  void (*store)(CKelLanSeekConfigSettings& settings, std::int32_t number);
  std::int32_t (*value)(const CKelLanSeekConfigSettings& settings);
  std::int32_t least;  ///< Bounds of the sensible range. Values outside it are stored all the same.
  std::int32_t most;
  const wchar_t* meaning;  ///< One sentence for the user.
};

/// The children of "CommunicationSettings", in reading order.
std::span<const NumericElement> CommunicationElements();

/// "DetectInterfaceChanges", a child of the root element.
const NumericElement& DetectInterfaceChangesElement();

/// Stores `number` in the element's field. A flag is stored as 0 or 1.
void Store(const NumericElement& element, std::int32_t number, CKelLanSeekConfigSettings& settings);

}  // namespace kellanseek::config
