#include "configcheck/NearName.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "text/Ascii.h"

namespace kellanseek::configcheck {
namespace {

constexpr std::size_t kLongestName = 64;

/// Edit distance; swapping two neighbouring characters counts as one edit.
std::size_t Slips(std::wstring_view left, std::wstring_view right) {
  std::vector<std::vector<std::size_t>> slips(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
  for (std::size_t i = 0; i <= left.size(); ++i) slips[i][0] = i;
  for (std::size_t j = 0; j <= right.size(); ++j) slips[0][j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const auto same = [&](std::size_t l, std::size_t r) {
        return text::Folded(left[l]) == text::Folded(right[r]);
      };
      std::size_t least = std::min(slips[i - 1][j], slips[i][j - 1]) + 1;
      least = std::min(least, slips[i - 1][j - 1] + (same(i - 1, j - 1) ? 0 : 1));
      if (i > 1 && j > 1 && same(i - 1, j - 2) && same(i - 2, j - 1)) {
        least = std::min(least, slips[i - 2][j - 2] + 1);
      }
      slips[i][j] = least;
    }
  }
  return slips[left.size()][right.size()];
}

}  // namespace

std::wstring_view NearName(std::wstring_view name, std::span<const std::wstring_view> candidates) {
  if (name.size() > kLongestName) return {};
  std::wstring_view nearest;
  std::size_t fewest = std::max<std::size_t>(2, name.size() / 4) + 1;
  for (const std::wstring_view candidate : candidates) {
    const std::size_t slips = Slips(name, candidate);
    if (slips >= fewest || slips >= candidate.size()) continue;
    fewest = slips;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace kellanseek::configcheck
