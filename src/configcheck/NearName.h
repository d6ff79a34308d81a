#pragma once

#include <span>
#include <string_view>

namespace kellanseek::configcheck {

/// The candidate that a misspelt name was probably meant to be: the one that the fewest slips (a letter
/// wrong, missing, too many, or swapped with its neighbour; case does not count) lead to, if they are few.
/// Empty when none is near.
std::wstring_view NearName(std::wstring_view name, std::span<const std::wstring_view> candidates);

}  // namespace kellanseek::configcheck
