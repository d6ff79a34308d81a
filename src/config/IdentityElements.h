#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "controllers/CtrlInfo.h"

namespace kellanseek::config {

/// One element of a controller in the static controller file. Exactly one of `text`, `number` and `level` is
/// set.
struct IdentityElement {
  const wchar_t* name;
  std::wstring CtrlInfo::*text = nullptr;
  std::uint32_t CtrlInfo::*number = nullptr;
  KelCtrlLevel CtrlInfo::*level = nullptr;
};

/// All elements of a controller, in the order in which they are read.
std::span<const IdentityElement> IdentityElements();

/// Stores an element's text in a record as the element wants it.
void Store(const IdentityElement& element, const std::wstring& text, CtrlInfo& record);

/// A controller is either of a known version or of none: without a major version other than 0, a minor
/// version and a revision, nothing is known of any of the four numbers.
bool VersionKnown(const CtrlInfo& record);

}  // namespace kellanseek::config
