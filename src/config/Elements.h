#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "config/Settings.h"
#include "controllers/CtrlInfo.h"

namespace kellanseek::config {

/// An element that holds a text, and the field that it fills.
struct Element {
  enum class Kind { Text, Port, Seconds, Count, Flag, ControllerType, Version, Level };
  using Field =
      std::variant<std::int32_t CKelLanSeekConfigSettings::*, std::wstring SubNetEntry::*,
                   std::wstring controllers::CtrlInfo::*, text::CompactText controllers::CtrlInfo::*,
                   std::uint32_t controllers::CtrlInfo::*, KelCtrlLevel controllers::CtrlInfo::*>;

  const wchar_t* name;
  Field field;
  Kind kind;
  const wchar_t* help;     ///< For the user: one sentence on a setting, otherwise an example.
  std::int32_t least = 0;  ///< Bounds of the sensible range of a setting. Others are stored all the same.
  std::int32_t most = 0;
};

/// An element that holds other elements. All children but these are ignored, and so is a second child of the
/// same name unless it repeats.
struct Container {
  const wchar_t* name;
  std::span<const Element> texts = {};  ///< In reading order.
  std::span<const Container* const> containers = {};
  bool repeats = false;
  std::span<const Container* const> mistakenFor = {};  ///< Their children are put here by mistake.
};

// The elements of both configuration files, and the only list of their names.
extern const Container kScanFileRoot;
extern const Container kCommunicationSettings;
extern const Container kExcludeInterfaces;
extern const Container kUseInterfaces;
extern const Container kSubNet;
extern const Container kStaticFileRoot;
extern const Container kControllerIdentity;

/// The element that fills a field. There must be one.
const Element& ElementOf(Element::Field field);
inline std::wstring NameOf(Element::Field field) { return ElementOf(field).name; }

/// Converts the element's text and stores it in its field. A flag is stored as 0 or 1.
void Store(const Element& element, const std::wstring& text, CKelLanSeekConfigSettings& settings);
void Store(const Element& element, const std::wstring& text, controllers::CtrlInfo& record);

}  // namespace kellanseek::config
