#pragma once

#include <cstdint>
#include <string>

#include <kellanseek/KelLanSeek.h>

namespace kellanseek {

/// A version number that was never reported.
inline constexpr std::uint32_t kVersionUnknown = 0xFFFFFFFFU;

/// How a controller describes itself; each of its messages may change it. A text that was not reported is
/// empty.
struct CtrlDescription {
  std::wstring ctrlName;
  std::wstring systemName;
  std::wstring releasePath;
  std::wstring ctrlID;
  std::uint32_t versionMajor = kVersionUnknown;
  std::uint32_t versionMinor = kVersionUnknown;
  std::uint32_t versionRevision = kVersionUnknown;
  std::uint32_t kelAPICompatibilityRevision = kVersionUnknown;
  std::uint32_t commPortNumber = 0;
  KelCtrlLevel ctrlLevel = SystemLevel;
};

/// What a controller is found by.
struct CtrlKeys {
  KelCtrlType ctrlType = RC;
  std::wstring ctrlAddress;  ///< Dotted IPv4 address; for a local virtual controller its system path.
  std::wstring systemID;
  std::wstring macAddress;
};

/// A controller's account of itself, as a message carries it.
struct Identity : CtrlKeys, CtrlDescription {};

}  // namespace kellanseek
