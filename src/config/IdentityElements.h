#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "controllers/CtrlInfo.h"

namespace kellanseek::config {

/// A child element of a controller in the static controller file. Exactly one of `text`, `number` and `level`
/// is set.
struct IdentityElement {
  const wchar_t* name;
  std::wstring controllers::CtrlInfo::*text = nullptr;
  std::uint32_t controllers::CtrlInfo::*number = nullptr;
  KelCtrlLevel controllers::CtrlInfo::*level = nullptr;
};

/// All child elements of a controller, in reading order.
std::span<const IdentityElement> IdentityElements();

/// Converts the element's text and stores it in its field of `record`.
void Store(const IdentityElement& element, const std::wstring& text, controllers::CtrlInfo& record);

/// Whether the version is known as a whole: a major version other than 0, a minor version and a revision.
/// Otherwise none of the four version numbers counts.
bool VersionKnown(const controllers::CtrlInfo& record);

}  // namespace kellanseek::config
