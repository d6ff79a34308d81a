#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/KelLanSeek.h>

#include "text/CompactText.h"

namespace kellanseek::controllers {

/// Stands for a version number that was not reported.
inline constexpr std::uint32_t kVersionUnknown = 0xFFFFFFFFU;

/// A controller's description of itself. Each of its messages may change it. A text that was not reported is
/// empty.
struct CtrlDescription {
  text::CompactText ctrlName;
  text::CompactText systemName;
  text::CompactText releasePath;
  text::CompactText ctrlID;
  std::uint32_t versionMajor = kVersionUnknown;
  std::uint32_t versionMinor = kVersionUnknown;
  std::uint32_t versionRevision = kVersionUnknown;
  std::uint32_t kelAPICompatibilityRevision = kVersionUnknown;
  std::uint32_t commPortNumber = 0;
  KelCtrlLevel ctrlLevel = SystemLevel;
};

/// The keys that a controller is found by.
struct CtrlKeys {
  KelCtrlType ctrlType = RC;
  std::wstring ctrlAddress;  ///< Dotted IPv4 address; the system path of a local virtual controller.
  std::wstring systemID;
  std::wstring macAddress;
};

/// A controller's identity as sent in a message.
struct Identity : CtrlKeys, CtrlDescription {};

}  // namespace kellanseek::controllers
