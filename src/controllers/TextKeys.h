#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "text/SipHash.h"

namespace kellanseek::controllers {

/// Hash and equality of record texts under the user's default locale. The hash has a random key, so that
/// nobody on the network can choose texts that share one bucket. Copies share a buffer, so one thread at a
/// time may use them; once it has hashed a text, hashing it again allocates no memory.
struct LocaleHash {
  text::SipKey key;
  std::shared_ptr<std::wstring> buffer = std::make_shared<std::wstring>();
  std::size_t operator()(const std::wstring& text) const;
};
struct LocaleEquals {
  bool operator()(const std::wstring& left, const std::wstring& right) const;
};

/// Hash and equality without regard to the case of A to Z.
struct FoldedHash {
  text::SipKey key;
  std::size_t operator()(std::wstring_view text) const;
};
struct FoldedEquals {
  bool operator()(std::wstring_view left, std::wstring_view right) const;
};

/// A random key that nobody can guess.
text::SipKey RandomKey();

}  // namespace kellanseek::controllers
