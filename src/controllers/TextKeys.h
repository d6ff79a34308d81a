#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kellanseek {

/// Hash and equality of record texts under the user's default locale. The hash is keyed with a random seed,
/// so nobody on the network can choose texts that all land in one bucket.
struct LocaleHash {
  std::uint64_t seed = 0;
  std::size_t operator()(const std::wstring& text) const;
};
struct LocaleEquals {
  bool operator()(const std::wstring& left, const std::wstring& right) const;
};

/// Hash and equality without regard to the case of A to Z.
struct FoldedHash {
  std::uint64_t seed = 0;
  std::size_t operator()(std::wstring_view text) const;
};
struct FoldedEquals {
  bool operator()(std::wstring_view left, std::wstring_view right) const;
};

/// A seed that differs from process to process.
std::uint64_t RandomSeed();

}  // namespace kellanseek
