#pragma once

#include <span>
#include <string_view>

namespace kellanseek::configcheck {

/// Returns the candidate most likely meant by a misspelt name: the one at the smallest edit distance (a swap
/// of neighbouring letters counts as one edit; case is ignored), if that is small. Empty if no candidate is
/// near.
std::wstring_view NearName(std::wstring_view name, std::span<const std::wstring_view> candidates);

}  // namespace kellanseek::configcheck
