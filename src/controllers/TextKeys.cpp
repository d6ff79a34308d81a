#include "controllers/TextKeys.h"

#include <algorithm>
#include <random>

#include "platform/CodePage.h"
#include "text/Ascii.h"

namespace kellanseek {
namespace {

std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0x9E3779B97F4A7C15ULL;
  return hash ^ (hash >> 29);
}

template <typename Transform>
std::size_t Hash(std::wstring_view text, std::uint64_t seed, Transform transform) {
  std::uint64_t hash = seed ^ text.size();
  std::size_t i = 0;
  for (; i + 1 < text.size(); i += 2) {
    const auto low = static_cast<std::uint32_t>(transform(text[i]));
    const auto high = static_cast<std::uint32_t>(transform(text[i + 1]));
    hash = Mix(hash, (std::uint64_t{high} << 32) | low);
  }
  if (i < text.size()) hash = Mix(hash, static_cast<std::uint32_t>(transform(text[i])));
  return static_cast<std::size_t>(Mix(hash, seed));
}

}  // namespace

std::size_t LocaleHash::operator()(const std::wstring& text) const {
  std::wstring storage;
  return Hash(platform::LocaleKey(text, storage), seed, [](wchar_t c) { return c; });
}

bool LocaleEquals::operator()(const std::wstring& left, const std::wstring& right) const {
  return platform::LocaleEqual(left, right);
}

std::size_t FoldedHash::operator()(std::wstring_view text) const {
  return Hash(text, seed, text::Folded<wchar_t>);
}

bool FoldedEquals::operator()(std::wstring_view left, std::wstring_view right) const {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return text::Folded(a) == text::Folded(b); });
}

std::uint64_t RandomSeed() {
  std::random_device device;
  return (std::uint64_t{device()} << 32) | device();
}

}  // namespace kellanseek
