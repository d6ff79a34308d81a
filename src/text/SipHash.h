#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <type_traits>

namespace kellanseek::text {

struct SipKey {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
};

/// The state of SipHash, the keyed hash of Aumasson and Bernstein for tables whose keys an attacker chooses.
class SipState {
 public:
  explicit SipState(const SipKey& key)
      : v0_(key.low ^ 0x736f6d6570736575),
        v1_(key.high ^ 0x646f72616e646f6d),
        v2_(key.low ^ 0x6c7967656e657261),
        v3_(key.high ^ 0x7465646279746573) {}

  template <int kRounds>
  void Add(std::uint64_t word) {
    v3_ ^= word;
    for (int i = 0; i < kRounds; ++i) Round();
    v0_ ^= word;
  }

  template <int kRounds>
  std::uint64_t Finish() {
    v2_ ^= 0xFF;
    for (int i = 0; i < kRounds; ++i) Round();
    return v0_ ^ v1_ ^ v2_ ^ v3_;
  }

 private:
  void Round() {
    v0_ += v1_;
    v2_ += v3_;
    v1_ = std::rotl(v1_, 13) ^ v0_;
    v3_ = std::rotl(v3_, 16) ^ v2_;
    v0_ = std::rotl(v0_, 32);
    v2_ += v1_;
    v0_ += v3_;
    v1_ = std::rotl(v1_, 17) ^ v2_;
    v3_ = std::rotl(v3_, 21) ^ v0_;
    v2_ = std::rotl(v2_, 32);
  }

  std::uint64_t v0_, v1_, v2_, v3_;
};

/// Adds a text after `transform` of each character: its bytes, or where characters have 32 bits the 21 bits
/// that a code point needs.
template <int kRounds = 1, typename Char, typename Transform = std::identity>
void AddText(SipState& state, std::basic_string_view<Char> text, Transform transform = {}) {
  constexpr std::size_t kBits = sizeof(Char) == 4 ? 21 : 8 * sizeof(Char);
  constexpr std::size_t kInWord = 64 / kBits;
  const auto word = [&](std::size_t from, std::size_t count) {
    std::uint64_t value = 0;
    if constexpr (sizeof(Char) == 1 && std::is_same_v<Transform, std::identity> &&
                  std::endian::native == std::endian::little) {
      std::memcpy(&value, text.data() + from, count);
      return value;
    }
    for (std::size_t i = 0; i < count; ++i) {
      value |= std::uint64_t{static_cast<std::make_unsigned_t<Char>>(transform(text[from + i]))}
               << (kBits * i);
    }
    return value;
  };
  std::size_t next = 0;
  for (; next + kInWord <= text.size(); next += kInWord) state.Add<kRounds>(word(next, kInWord));
  state.Add<kRounds>(word(next, text.size() - next) | std::uint64_t{text.size()} << 56);
}

/// The hash of a text. A hash table is safe with 1 and 3 rounds.
template <int kRounds = 1, int kFinalRounds = 3, typename Char, typename Transform = std::identity>
std::uint64_t SipHash(const SipKey& key, std::basic_string_view<Char> text, Transform transform = {}) {
  SipState state(key);
  AddText<kRounds>(state, text, transform);
  return state.Finish<kFinalRounds>();
}

}  // namespace kellanseek::text
