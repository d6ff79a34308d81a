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

/// How many of the limited places for dynamic records such keys take. Usual keys take one. A message can
/// carry keys of several thousand bytes, which take more: so the limit bounds the memory too, and the time
/// that an index needs to grow.
inline std::size_t PlacesOf(const std::wstring& systemID, const std::wstring& macAddress) {
  constexpr std::size_t kCharactersPerPlace = 64;
  return 1 + (systemID.size() + macAddress.size()) / kCharactersPerPlace;
}
inline std::size_t PlacesOf(const CtrlKeys& keys) { return PlacesOf(keys.systemID, keys.macAddress); }

}  // namespace kellanseek::controllers
