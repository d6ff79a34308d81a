#include "controllers/TextKeys.h"

#include <algorithm>
#include <cstdint>
#include <random>

#include "platform/CodePage.h"
#include "text/Ascii.h"

namespace kellanseek::controllers {

std::size_t LocaleHash::operator()(const std::wstring& text) const {
  return static_cast<std::size_t>(text::SipHash(key, platform::LocaleKey(text, *buffer)));
}

bool LocaleEquals::operator()(const std::wstring& left, const std::wstring& right) const {
  return platform::LocaleEqual(left, right);
}

std::size_t FoldedHash::operator()(std::wstring_view text) const {
  return static_cast<std::size_t>(text::SipHash(key, text, text::Folded<wchar_t>));
}

bool FoldedEquals::operator()(std::wstring_view left, std::wstring_view right) const {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return text::Folded(a) == text::Folded(b); });
}

text::SipKey RandomKey() {
  std::random_device device;
  const auto word = [&] { return std::uint64_t{device()} << 32 | device(); };
  return {word(), word()};
}

}  // namespace kellanseek::controllers
